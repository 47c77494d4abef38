#include "TQFoundation/Platform/Adapters/Curl/PartialResponse.h"

#include <curl/curl.h>

#include <algorithm>
#include <charconv>
#include <ctime>
#include <utility>

namespace tq::internal {
namespace {

constexpr std::time_t kSecondsUntilStrong = 60;
constexpr std::size_t kMaxValidator = 256;

enum Status { ok = 200, partialContent = 206, notFound = 404, gone = 410, rangeNotSatisfiable = 416 };

struct ContentRange {
  std::int64_t first = 0;
  std::int64_t last = 0;
  std::int64_t total = 0;
};

bool takeNumber(std::string_view& text, std::int64_t& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || number < 0) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

bool take(std::string_view& text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

// "bytes 0-99/1000". A total that the server does not know ("*") is as good as none.
std::optional<ContentRange> parseContentRange(std::string_view text) {
  ContentRange range;
  if (take(text, "bytes ") && takeNumber(text, range.first) && take(text, "-") &&
      takeNumber(text, range.last) && take(text, "/") && takeNumber(text, range.total) && text.empty() &&
      range.first <= range.last && range.last < range.total)
    return range;
  return std::nullopt;
}

bool isStrong(std::string_view entityTag) {
  return entityTag.size() > 2 && entityTag.front() == '"' && entityTag.back() == '"';
}

bool isPlain(std::string_view text) {
  const auto printable = [](char c) { return static_cast<unsigned char>(c) >= 0x20 && c != 0x7F; };
  return text.size() <= kMaxValidator && std::all_of(text.begin(), text.end(), printable);
}

// A file may change twice within the second that the header can tell, and be read in between. A minute later
// no reader can have got one of the two (RFC 9110, 8.8.2.2).
bool isStrongDate(const ResponseHead& head) {
  const std::time_t modified = curl_getdate(head.lastModified.c_str(), nullptr);
  const std::time_t sent = curl_getdate(head.date.c_str(), nullptr);
  return modified >= 0 && sent >= 0 && sent - modified >= kSecondsUntilStrong;
}

bool isEncoded(const ResponseHead& head) {
  return !head.contentEncoding.empty() && head.contentEncoding != "identity";
}

// The tag has to be the same also where the date is the condition: a weak one that differs shows another
// version.
bool isSameVersion(const ResponseHead& head, const Validator& noted) {
  return head.entityTag == noted.entityTag &&
         (noted.lastModified.empty() || head.lastModified == noted.lastModified) && !isEncoded(head);
}

BodyUse useOfPart(const ResponseHead& head, const std::optional<RequestedRest>& rest) {
  const auto range = parseContentRange(head.contentRange);
  if (!rest) {
    const bool isWhole = range && range->first == 0 && range->last == range->total - 1;
    return isWhole ? BodyUse::apartAndDrops : BodyUse::refused;
  }
  const bool isTheRest = range && range->first == rest->first && range->total == rest->content.total;
  return isTheRest && isSameVersion(head, rest->content.validator) ? BodyUse::continues : BodyUse::asksAgain;
}

}  // namespace

BodyUse useOf(const ResponseHead& head, const std::optional<RequestedRest>& rest) {
  switch (head.status) {
    case ok:
      return continuableContent(head, {}) ? BodyUse::startsOver : BodyUse::apartAndDrops;
    case partialContent:
      return useOfPart(head, rest);
    case rangeNotSatisfiable:
      return rest ? BodyUse::asksAgain : BodyUse::apart;
    case notFound:
    case gone:
      return BodyUse::apartAndDrops;
    default:
      return BodyUse::apart;
  }
}

std::optional<PartialContent> continuableContent(const ResponseHead& head, std::string source) {
  if (head.contentLength <= 0 || isEncoded(head) || !isPlain(head.entityTag)) return std::nullopt;
  PartialContent content{
      .validator = {.entityTag = head.entityTag}, .total = head.contentLength, .source = std::move(source)};
  if (isStrong(head.entityTag)) return content;
  if (!isPlain(head.lastModified) || !isStrongDate(head)) return std::nullopt;
  content.validator.lastModified = head.lastModified;
  return content;
}

const std::string& rangeCondition(const PartialContent& content) {
  const auto& [entityTag, lastModified] = content.validator;
  return lastModified.empty() ? entityTag : lastModified;
}

}  // namespace tq::internal
