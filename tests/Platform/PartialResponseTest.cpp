#include "TQFoundation/Platform/Adapters/Curl/PartialResponse.h"

#include <gtest/gtest.h>

namespace tq::internal {
namespace {

constexpr const char* kTag = "\"a\"";
constexpr const char* kLong = "Sat, 21 Nov 2026 12:00:00 GMT";
constexpr const char* kMinute = "Mon, 23 Nov 2026 11:59:00 GMT";
constexpr const char* kSecond = "Mon, 23 Nov 2026 11:59:01 GMT";
constexpr const char* kNow = "Mon, 23 Nov 2026 12:00:00 GMT";

TEST(PartialResponse, NamesAVersionOnlyByWhatIsStrong) {
  const std::string longTag = '"' + std::string(300, 'a') + '"';
  const std::tuple<const char*, ResponseHead, std::string> cases[] = {
      {"strong tag", {.entityTag = kTag, .lastModified = kSecond, .date = kNow}, kTag},
      {"weak tag", {.entityTag = "W/\"a\""}, ""},
      {"weak tag, old", {.entityTag = "W/\"a\"", .lastModified = kMinute, .date = kNow}, kMinute},
      {"no tag, old", {.lastModified = kLong, .date = kNow}, kLong},
      {"too young", {.lastModified = kSecond, .date = kNow}, ""},
      {"of the future", {.lastModified = kNow, .date = kMinute}, ""},
      {"no date", {.lastModified = kLong}, ""},
      {"no time", {.lastModified = "yesterday", .date = kNow}, ""},
      {"nothing", {}, ""},
      {"empty tag", {.entityTag = "\"\""}, ""},
      {"half a tag", {.entityTag = "\"a"}, ""},
      {"endless tag", {.entityTag = longTag, .lastModified = kLong, .date = kNow}, ""},
      {"encoded", {.entityTag = kTag, .contentEncoding = "gzip"}, ""},
      {"as it is", {.entityTag = kTag, .contentEncoding = "identity"}, kTag}};
  for (auto [what, head, condition] : cases) {
    SCOPED_TRACE(what);
    head.status = 200;
    head.contentLength = 10;
    const auto content = continuableContent(head, "s");
    ASSERT_EQ(content.has_value(), !condition.empty());
    if (content) {
      EXPECT_EQ(rangeCondition(*content), condition);
    }
    EXPECT_EQ(useOf(head, {}), content ? BodyUse::startsOver : BodyUse::apartAndDrops);
    for (const std::int64_t length : {-1, 0}) {
      head.contentLength = length;
      EXPECT_FALSE(continuableContent(head, "s"));
    }
  }
}

TEST(PartialResponse, IsTakenAsTheRestOnlyWhenItIs) {
  using enum BodyUse;
  const RequestedRest byTag{.first = 100, .content = {.validator = {.entityTag = kTag}, .total = 1000}};
  const RequestedRest byDate{.first = 100, .content = {.validator = {.lastModified = kLong}, .total = 1000}};
  const auto part = [](const char* range, const char* tag, const char* modified = "",
                       const char* encoding = "") {
    return ResponseHead{.status = 206,
                        .contentLength = 900,
                        .entityTag = tag,
                        .lastModified = modified,
                        .contentRange = range,
                        .contentEncoding = encoding};
  };
  const auto other = [](int status) {
    return ResponseHead{.status = status, .contentLength = 1000, .entityTag = kTag};
  };
  const std::string exact = "bytes 100-999/1000";
  struct Case {
    const char* what;
    ResponseHead head;
    std::optional<RequestedRest> rest;
    BodyUse use;
  };
  const Case cases[] = {
      {"the rest", part(exact.c_str(), kTag), byTag, continues},
      {"a piece of it", part("bytes 100-499/1000", kTag), byTag, continues},
      {"by date", part(exact.c_str(), "", kLong), byDate, continues},
      {"an earlier byte", part("bytes 99-999/1000", kTag), byTag, asksAgain},
      {"a later byte", part("bytes 101-999/1000", kTag), byTag, asksAgain},
      {"another total", part("bytes 100-1000/1001", kTag), byTag, asksAgain},
      {"an unknown total", part("bytes 100-999/*", kTag), byTag, asksAgain},
      {"another tag", part(exact.c_str(), "\"b\""), byTag, asksAgain},
      {"a weak form of it", part(exact.c_str(), "W/\"a\""), byTag, asksAgain},
      {"no tag", part(exact.c_str(), ""), byTag, asksAgain},
      {"another date", part(exact.c_str(), "", kMinute), byDate, asksAgain},
      {"a date and a new tag", part(exact.c_str(), kTag, kLong), byDate, asksAgain},
      {"encoded", part(exact.c_str(), kTag, "", "gzip"), byTag, asksAgain},
      {"several parts", part("", kTag), byTag, asksAgain},
      {"backwards", part("bytes 100-99/1000", kTag), byTag, asksAgain},
      {"past the end", part("bytes 100-1000/1000", kTag), byTag, asksAgain},
      {"no number", part("bytes 100-/1000", kTag), byTag, asksAgain},
      {"more than a range", part("bytes 100-999/1000,", kTag), byTag, asksAgain},
      {"past all numbers", part("bytes 100-99999999999999999999/1000", kTag), byTag, asksAgain},
      {"not asked for", part(exact.c_str(), kTag), {}, refused},
      {"nor this", part("", kTag), {}, refused},
      {"all of it", part("bytes 0-899/900", kTag), {}, apartAndDrops},
      {"whole", other(200), byTag, startsOver},
      {"out of range", other(416), byTag, asksAgain},
      {"out of no range", other(416), {}, apart},
      {"missing", other(404), byTag, apartAndDrops},
      {"gone", other(410), byTag, apartAndDrops},
      {"forbidden", other(403), byTag, apart},
      {"too many", other(429), byTag, apart},
      {"broken", other(500), byTag, apart},
      {"busy", other(503), {}, apart}};
  for (const auto& [what, head, rest, use] : cases) EXPECT_EQ(useOf(head, rest), use) << what;
}

}  // namespace
}  // namespace tq::internal
