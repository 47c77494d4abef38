#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <list>
#include <random>

#include "TQFoundation/Extensions/TQArrayExtensions.h"
#include "TQFoundation/Extensions/TQGeometryExtensions.h"
#include "TQFoundation/Extensions/TQURLExtensions.h"

namespace tq::tests {

/// An element whose copies are counted, and whose hash is as bad as a test likes.
struct Element {
  explicit Element(int theValue) : value(theValue) {}
  Element(const Element& other) : value(other.value) { ++copies; }
  Element(Element&&) noexcept = default;
  Element& operator=(Element&&) noexcept = default;
  friend bool operator==(const Element& a, const Element& b) { return a.value == b.value; }

  int value;
  static inline int copies = 0;
  static inline std::optional<std::size_t> hash;
};

}  // namespace tq::tests

template <>
struct std::hash<tq::tests::Element> {
  std::size_t operator()(const tq::tests::Element& element) const {
    return tq::tests::Element::hash.value_or(static_cast<std::size_t>(element.value));
  }
};

namespace tq::tests {
namespace {

TEST(QueryParameters, AreTheLastValueOfEachName) {
  using namespace std::string_literals;
  const std::pair<const char*, std::optional<QueryParameters>> cases[] = {
      {"http://h/p?a=1&b=2&a=3", {{{"a", "3"}, {"b", "2"}}}},
      {"http://h?a=1&a", QueryParameters()},
      {"?a&a=1", {{{"a", "1"}}}},
      {"p?a=", {{{"a", ""}}}},
      {"http://h/p", std::nullopt},
      {"http://h/p#x?a=1", std::nullopt},
      {"http://h/p?", QueryParameters()},
      {"http://h/p?&&#a=1", QueryParameters()},
      {"http://h/p?=x&a=1", {{{"", "x"}, {"a", "1"}}}},
      {"http://h/p?=x&&a=1", {{{"a", "1"}}}},
      {"http://h/p?a=b=c?d/e#f", {{{"a", "b=c?d/e"}}}},
      {"http://h/p?a%3D%26=+%2b%20%C3%a9&b", {{{"a=&", "++ \xC3\xA9"}}}},
      {"http://h/p?a=%00%FF&%61=%", std::nullopt},
      {"http://h/p?a=x%00%FF%25", {{{"a", "x\0\xFF%"s}}}},
      {"mailto:me?subject=a&subject=%41", {{{"subject", "A"}}}}};
  for (const auto& [text, parameters] : cases) {
    const auto url = platform::URL::parse(text);
    EXPECT_EQ(url ? queryParameters(*url) : std::nullopt, parameters) << text;
  }
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

TEST(DuplicatesRemoved, CopiesOnlyWhatItKeepsAndNothingOfAGivenVector) {
  std::vector<Element> items;
  for (const int value : {1, 2, 1, 1, 2, 3}) items.emplace_back(value);
  EXPECT_EQ(duplicatesRemoved(items).size(), 3U);
  EXPECT_EQ(std::exchange(Element::copies, 0), 3);
  removeDuplicates(items);
  EXPECT_EQ(duplicatesRemoved(std::move(items)).back().value, 3);
  EXPECT_EQ(Element::copies, 0);
}

TEST(DuplicatesRemoved, EndsAndIsRightWhenAllHashesCollide) {
  for (const std::size_t hash : {std::size_t{0}, ~std::size_t{0}}) {
    Element::hash = hash;
    std::vector<Element> items;
    for (int i = 0; i < 3'000; ++i) items.emplace_back(i % 1'000);
    EXPECT_EQ(duplicatesRemoved(std::list<Element>(items.begin(), items.end())).size(), 1'000U);
    EXPECT_EQ(duplicatesRemoved(std::move(items)).size(), 1'000U);
  }
  Element::hash.reset();
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
  const std::tuple<platform::CGSize, platform::CGSize, platform::CGSize> cases[] = {
      {{1920, 1080}, {1000, 1000}, {1920 * (1000.0 / 1080), 1000}},
      {{1080, 1920}, {1000, 1000}, {1000, 1920 * (1000.0 / 1080)}},
      {{3, 7}, {0.3, 0.7}, {0.3, 0.7}},
      {{0, 0}, {5, 6}, {5, 6}},
      {{0, 0}, {0, 6}, {0, 0}},
      {{4, kInfinity}, {4, kInfinity}, {0, 0}},
      {{kNaN, 4}, {4, 4}, {0, 0}},
      {{0, 4}, {4, 4}, {4, kInfinity}}};
  for (const auto& [media, frame, filled] : cases) {
    EXPECT_EQ(CGSize::aspectFill(media, frame), filled) << media.width << " x " << media.height;
  }
}

}  // namespace
}  // namespace tq::tests
