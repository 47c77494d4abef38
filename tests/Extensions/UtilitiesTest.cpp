#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <list>
#include <map>
#include <random>
#include <thread>
#include <unordered_set>

#include "TQFoundation/Extensions/TQAction.h"
#include "TQFoundation/Extensions/TQActionConstants.h"
#include "TQFoundation/Extensions/TQArrayExtensions.h"
#include "TQFoundation/Extensions/TQGeometryExtensions.h"
#include "TQFoundation/Extensions/TQNotificationNames.h"
#include "TQFoundation/Extensions/TQStringExtensions.h"
#include "TQFoundation/Extensions/TQURLExtensions.h"

namespace tq::tests {

/// An element whose hash is as bad as a test likes.
struct Element {
  int value = 0;
  bool operator==(const Element&) const = default;
  static inline std::size_t hash = 0;
};

}  // namespace tq::tests

template <>
struct std::hash<tq::tests::Element> {
  std::size_t operator()(const tq::tests::Element&) const { return tq::tests::Element::hash; }
};

namespace tq::tests {
namespace {

using Name = NSNotification::Name;
using namespace std::string_literals;

TEST(QueryParameters, AreTheLastValueOfEachName) {
  const std::initializer_list<std::pair<const char*, const char*>> cases = {
      {"p?a=", "a=;"},        {"http://h?a=1&a", ""},       {"http://h/p?a=1&b=2&a=3", "a=3;b=2;"},
      {"http://h/p", "none"}, {"h/p#x?a=1", "none"},        {"http://h/p?a=b=c?d/e#f", "a=b=c?d/e;"},
      {"h/p?&&#a=1", ""},     {"h/p?=x&a=1", "=x;a=1;"},    {"p?a%3D%26=+%2b%20%C3%a9&b", "a=&=++ \xC3\xA9;"},
      {"p?=x&&a=1", "a=1;"},  {"p?a=x%FF%25", "a=x\xFF%;"}, {"http://h/p?a=%00%FF&%61=%", "none"}};
  for (const auto& [text, expected] : cases) {
    const auto url = URL::parse(text);
    const auto parameters = url ? queryParameters(*url) : std::nullopt;
    std::string shown = parameters ? "" : "none";
    for (const auto& [name, value] : parameters.value_or(QueryParameters()))
      shown += name + '=' + value + ';';
    EXPECT_EQ(shown, expected) << text;
  }
  EXPECT_EQ(queryParameters(*URL::parse("p?a=x%00y"))->at("a"), "x\0y"s);
}

template <class T>
void expectDistinct(std::vector<T> items) {
  std::vector<T> expected;
  for (const T& item : items) {
    if (std::find(expected.begin(), expected.end(), item) == expected.end()) expected.push_back(item);
  }
  EXPECT_EQ(duplicatesRemoved(items), expected);
  EXPECT_EQ(duplicatesRemoved(std::list<T>(items.begin(), items.end())), expected);
  removeDuplicates(items);
  EXPECT_EQ(items, expected);
}

TEST(DuplicatesRemoved, KeepsTheFirstOfEachInOrderWhateverTheNumbers) {
  std::mt19937_64 random(8'172);
  expectDistinct<int>({});
  expectDistinct<int>({3, 1, 3, 2, 1});
  expectDistinct<bool>({true, false, true});
  expectDistinct<double>({0.0, -0.0, 1.5, 0.0});
  for (const std::size_t count : {1U, 15U, 16U, 17U, 300U, 2'000U}) {
    for (const std::uint64_t kinds : {1U, 5U, 100U, 1'000'000U}) {
      // Numbers that differ in their lower bits, their upper ones, or in the middle only.
      for (const int shift : {0, 20, 44}) {
        std::vector<std::uint64_t> numbers(count);
        std::generate(numbers.begin(), numbers.end(), [&] { return random() % kinds << shift; });
        expectDistinct(numbers);
      }
    }
  }
}

TEST(DuplicatesRemoved, CopiesNothingOfAGivenVector) {
  std::vector<std::unique_ptr<int>> items(3);
  items[1] = std::make_unique<int>(7);
  removeDuplicates(items);
  EXPECT_EQ(*duplicatesRemoved(std::move(items)).at(1), 7);
}

TEST(DuplicatesRemoved, EndsAndIsRightWhenAllHashesCollide) {
  for (const std::size_t hash : {std::size_t{0}, ~std::size_t{0}}) {
    Element::hash = hash;
    std::vector<Element> items;
    for (int i = 0; i < 3'000; ++i) items.push_back({i % 1'000});
    expectDistinct(items);
  }
}

TEST(DuplicatesRemoved, KeepsEachNumberThatDoesNotEqualItselfAndIsNotSlowedByThem) {
  std::vector<double> items(1'000'000, std::numeric_limits<double>::quiet_NaN());
  items.front() = items.back() = 1;
  removeDuplicates(items);
  EXPECT_EQ(items.size(), 999'999U);
  EXPECT_TRUE(std::isnan(items.back()));
}

TEST(AspectFill, CoversTheFrameByTheLargerRatio) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  const std::tuple<CGSize, CGSize, CGSize> cases[] = {
      {{1920, 1080}, {1000, 1000}, {1920 * (1000.0 / 1080), 1000}},
      {{1080, 1920}, {1000, 1000}, {1000, 1920 * (1000.0 / 1080)}},
      {{3, 7}, {0.3, 0.7}, {0.3, 0.7}},
      {{0, 0}, {5, 6}, {5, 6}},
      {{0, 0}, {0, 6}, {0, 0}},
      {{4, kInfinity}, {4, kInfinity}, {0, 0}},
      {{kNaN, 4}, {4, 4}, {0, 0}},
      {{0, 4}, {4, 4}, {4, kInfinity}}};
  for (const auto& [media, frame, filled] : cases) {
    EXPECT_EQ(aspectFill(media, frame), filled) << media.width << " x " << media.height;
  }
}

char changing[] = "before";
const NSNotification::Name kOfChangingText(std::string_view(changing, 6));

TEST(NotificationName, IsItsTextWhereverThatCameFrom) {
  EXPECT_EQ(NotificationName::userDidRequestShare, Name("UserDidRequestToPresentShareSheet"));
  EXPECT_NE(NotificationName::userDidRequestShare, Name("UserDidRequestShare"));
  std::optional<Name> made(std::string("Show") + "Studio");
  Name copy = *made;
  made.reset();
  EXPECT_EQ(copy, NotificationName::showStudio);
  copy = NotificationName::saveCompleted;
  EXPECT_EQ(copy.rawValue(), "saveCompleted");
  const NSNotification::Name moved = std::move(copy);
  EXPECT_EQ(std::unordered_set<Name>({moved, Name("saveCompleted"), Name()}).size(), 2U);

  changing[0] = 'B';
  EXPECT_EQ(kOfChangingText.rawValue(), "before");
}

TEST(NotificationName, MayBeCopiedAndDroppedOnSeveralThreads) {
  std::vector<std::jthread> threads;
  const Name made(std::string(100, 'n'));
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([name = made] {
      for (int round = 0; round < 1'000; ++round) {
        const Name copy(name);
        EXPECT_EQ(copy.rawValue()[99], 'n');
      }
    });
  }
}

template <class N>
concept GivesItsText = requires(N name) {
  std::forward<N>(name).rawValue();
};
static_assert(GivesItsText<const Name&> && !GivesItsText<Name>);  // a temporary's text would dangle

TEST(Vocabulary, FitsTogetherAsOneWouldWriteIt) {
  NSNotification::UserInfo details{{String::videoURL, 7}, {"index", 3}, {std::string("title"), "Day"s}};
  details[String::sourceRect] = CGSize{3, 4};
  EXPECT_EQ(std::any_cast<int>(details.at(String::videoURL)), 7);
  EXPECT_TRUE(details.contains("index") && details.find(String::mediaItem) == details.end());
  EXPECT_THROW(static_cast<void>(details.at(String::mediaItem)), std::out_of_range);

  const auto size = std::make_shared<CGSize>();
  const NSNotification posted(NotificationName::showStudio, size, {{String::videoURL, 7}});
  EXPECT_EQ(posted.object<CGSize>(), size);
  EXPECT_EQ(posted.object<int>(), nullptr);
  EXPECT_EQ(std::any_cast<int>(posted.userInfo().at(String::videoURL)), 7);
  const std::map<Name, int> byName{{NotificationName::showStudio, 1}, {NotificationName::addDismissed, 2}};
  EXPECT_EQ(byName.begin()->second, 1);  // "ShowStudio" comes before "addDismissed"
}

TEST(ShareObserverKeys, ComeFromTheirExactTextOnly) {
  EXPECT_EQ(makeTQShareObserverKeys("fromVC"), TQShareObserverKeys::fromVC);
  for (const auto text : kShareObserverRawValues) EXPECT_EQ(rawValue(*makeTQShareObserverKeys(text)), text);
  for (const char* const text : {"FromVC", "fromVc", " fromVC", "fromVC ", "fromV", ""})
    EXPECT_EQ(makeTQShareObserverKeys(text), std::nullopt) << text;
}

struct Factory {
  static std::unique_ptr<TQAction> makeAction(const TQActionParameters&) { return nullptr; }
};
static_assert(TQActionFactory<Factory> && !TQActionFactory<TQAction>);
static_assert(!std::is_copy_constructible_v<TQEditInitiatorProtocol>);

}  // namespace
}  // namespace tq::tests
