#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <ranges>
#include <type_traits>
#include <utility>
#include <vector>

#include "TQFoundation/Platform/Base/FirstOccurrences.h"

namespace tq {

/// Elements that `std::hash` hashes and `==` compares.
template <class T>
concept Hashable = std::equality_comparable<T> && requires(const T& element) {
  { std::hash<T>{}(element) } -> std::convertible_to<std::size_t>;
};

namespace internal {

/// As many elements are hashed, and their places in the table fetched, before the first of them is looked up:
/// so the waits for memory overlap.
inline constexpr std::size_t kBatch = 16;

/// Whether `element` is a number that does not even equal itself. Looking for many of them would take long,
/// in vain.
template <class T>
bool equalsNothing([[maybe_unused]] const T& element) {
  if constexpr (std::is_floating_point_v<T>) return std::isnan(element);
  return false;
}

/// Calls `keep(i)` for each of the `count` elements `at(i)` that is the first of its kind. `kept` has those
/// before it.
template <class T, class Position, class At, class Kept, class Keep>
void forEachFirstWithin(const At& at, std::size_t count, const Kept& kept, const Keep& keep) {
  FirstOccurrences<Position> seen(count);
  std::array<std::size_t, kBatch> hashes;
  for (std::size_t begin = 0, found = 0; begin < count; begin += kBatch) {
    const std::size_t end = std::min(begin + kBatch, count);
    for (std::size_t i = begin; i < end; ++i) {
      hashes[i - begin] = std::hash<T>{}(at(i));
      seen.prefetch(hashes[i - begin]);
    }
    for (std::size_t i = begin; i < end; ++i) {
      const auto isEqual = [&](std::size_t other) { return kept[other] == at(i); };
      if (!equalsNothing<T>(at(i)) && !seen.insert(hashes[i - begin], found, isEqual)) continue;
      keep(i);
      ++found;
    }
  }
}

/// The same with the smallest table that will do.
template <class T, class At, class Kept, class Keep>
void forEachFirst(const At& at, std::size_t count, const Kept& kept, const Keep& keep) {
  if (count <= FirstOccurrences<std::uint32_t>::kMaximumCount) {
    forEachFirstWithin<T, std::uint32_t>(at, count, kept, keep);
  } else {
    forEachFirstWithin<T, std::uint64_t>(at, count, kept, keep);
  }
}

/// The first ones of a range that can only be walked, or that makes its elements as it goes.
template <class T, class Range>
std::vector<T> firstOnes(Range& items) {
  FirstOccurrences<std::uint64_t> seen(0);
  std::vector<T> kept;
  for (auto&& element : items) {
    const auto isEqual = [&](std::size_t other) { return kept[other] == element; };
    if (equalsNothing<T>(element) || seen.insert(std::hash<T>{}(element), kept.size(), isEqual))
      kept.push_back(std::forward<decltype(element)>(element));
  }
  return kept;
}

}  // namespace internal

/// Removes from `items` each element that equals one before it; the kept ones stay in order.
///
///     std::vector<std::string> tags{"sea", "sun", "sea"};
///     removeDuplicates(tags);                                     // sea, sun
///
/// Linear in time as long as the elements' hashes differ; takes 11 to 22 bytes per element while it runs.
/// Elements are moved, none is copied. Equality is the elements' own: a number that does not equal itself is
/// kept each time. What their hash, `==` or move throws is passed on, and `items` then holds what there was
/// in no order.
///
/// Not thread-safe: one thread at a time.
template <Hashable T, class Allocator>
void removeDuplicates(std::vector<T, Allocator>& items) {
  std::size_t kept = 0;
  const auto at = [&](std::size_t i) -> decltype(auto) { return items[i]; };
  internal::forEachFirst<T>(at, items.size(), items, [&](std::size_t i) {
    if (kept != i) items[kept] = std::move(items[i]);
    ++kept;
  });
  items.erase(items.begin() + static_cast<std::ptrdiff_t>(kept), items.end());
}

/// The elements of `items` in order, without each that equals one before it.
///
///     duplicatesRemoved(std::vector{3, 1, 3, 2, 1});              // 3, 1, 2
///     duplicatesRemoved(names | std::views::transform(lowered));  // any range of hashable elements
///
/// As `removeDuplicates`, but the kept elements are copied; those of a vector that is given away are moved.
template <std::ranges::input_range Range>
requires Hashable<std::ranges::range_value_t<Range>>
[[nodiscard]] std::vector<std::ranges::range_value_t<Range>> duplicatesRemoved(Range&& items) {
  using T = std::ranges::range_value_t<Range>;
  if constexpr (std::ranges::random_access_range<Range> && std::ranges::sized_range<Range> &&
                std::is_lvalue_reference_v<std::ranges::range_reference_t<Range>>) {
    std::vector<T> kept;
    const auto count = static_cast<std::size_t>(std::ranges::size(items));
    // Room that stays empty costs small elements less than growing does.
    if constexpr (sizeof(T) <= sizeof(void*)) kept.reserve(count);
    const auto at = [first = std::ranges::begin(items)](std::size_t i) -> decltype(auto) {
      return first[static_cast<std::ranges::range_difference_t<Range>>(i)];
    };
    internal::forEachFirst<T>(at, count, kept, [&](std::size_t i) { kept.push_back(at(i)); });
    return kept;
  } else {
    return internal::firstOnes<T>(items);
  }
}

template <Hashable T, class Allocator>
[[nodiscard]] std::vector<T, Allocator> duplicatesRemoved(std::vector<T, Allocator>&& items) {
  removeDuplicates(items);
  return std::move(items);
}

}  // namespace tq
