#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>

#include "TQFoundation/Platform/Base/Date.h"
#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// The fields of a date in some calendar, or an offset in them. Absent fields are unknown or unused.
///
///     const DateComponents backAMonth{.month = -1};
///
/// Months and days count from 1, weekdays from 1 for Sunday. In calendars with leap months, `isLeapMonth`
/// distinguishes a month from the one before it with the same number.
struct TQ_API DateComponents {
  enum class Component : std::uint8_t {
    era,
    year,
    month,
    day,
    hour,
    minute,
    second,
    nanosecond,
    weekday,
    weekdayOrdinal,  ///< 1-based ordinal of the weekday within its month.
    quarter,
    weekOfMonth,
    weekOfYear,
    yearForWeekOfYear,  ///< The year that the week of year belongs to.
  };

  std::optional<std::int64_t> era = std::nullopt;
  std::optional<std::int64_t> year = std::nullopt;
  std::optional<std::int64_t> month = std::nullopt;
  std::optional<std::int64_t> day = std::nullopt;
  std::optional<std::int64_t> hour = std::nullopt;
  std::optional<std::int64_t> minute = std::nullopt;
  std::optional<std::int64_t> second = std::nullopt;
  std::optional<std::int64_t> nanosecond = std::nullopt;
  std::optional<std::int64_t> weekday = std::nullopt;
  std::optional<std::int64_t> weekdayOrdinal = std::nullopt;
  std::optional<std::int64_t> quarter = std::nullopt;
  std::optional<std::int64_t> weekOfMonth = std::nullopt;
  std::optional<std::int64_t> weekOfYear = std::nullopt;
  std::optional<std::int64_t> yearForWeekOfYear = std::nullopt;
  std::optional<bool> isLeapMonth = std::nullopt;

  /// Returns the field of that component.
  [[nodiscard]] std::optional<std::int64_t>& operator[](Component component);
  [[nodiscard]] const std::optional<std::int64_t>& operator[](Component component) const;

  friend bool operator==(const DateComponents&, const DateComponents&) = default;
};

/// A set of components.
class ComponentSet {
 public:
  constexpr ComponentSet(std::initializer_list<DateComponents::Component> components) {
    for (const auto component : components) bits_ |= bit(component);
  }
  [[nodiscard]] constexpr bool contains(DateComponents::Component component) const {
    return (bits_ & bit(component)) != 0;
  }
  [[nodiscard]] constexpr bool intersects(ComponentSet other) const { return (bits_ & other.bits_) != 0; }

 private:
  static constexpr std::uint32_t bit(DateComponents::Component component) {
    return std::uint32_t{1} << static_cast<unsigned>(component);
  }
  std::uint32_t bits_ = 0;
};

/// The time from `start`, inclusive, to `end`, exclusive.
struct DateInterval {
  Date start;
  Date end;

  friend bool operator==(const DateInterval&, const DateInterval&) = default;
};

}  // namespace tq
