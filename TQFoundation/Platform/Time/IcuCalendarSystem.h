#pragma once

#include <unicode/calendar.h>

#include <cstdint>
#include <memory>
#include <optional>

#include "TQFoundation/Platform/Base/ObjectPool.h"

namespace tq::internal {

/// Days since 1970-01-01, in any zone.
using CivilDay = std::int64_t;

// In milliseconds, the unit of `Date` and of ICU.
inline constexpr double kSecond = 1000;
inline constexpr double kDay = 86'400 * kSecond;

/// A calendar system's rules for days, without a time zone.
///
/// Thread-safe.
class IcuCalendarSystem {
 public:
  /// The first and the last day that ICU counts.
  static constexpr CivilDay kFirstDay = -2'133'147'020;
  static constexpr CivilDay kLastDay = 2'128'265'844;

  /// A day's position in the system. Months count from 0, as ICU's do; a field beyond its range carries over.
  struct Place {
    std::int64_t era = 0;
    std::int64_t year = 1;
    std::int64_t month = 0;
    bool leapMonth = false;
    std::int64_t day = 1;
  };

  /// `calendar` must be lenient and in UTC.
  explicit IcuCalendarSystem(std::unique_ptr<const icu::Calendar> calendar)
      : calendars_(std::move(calendar)) {}

  /// Whether every year has twelve months.
  [[nodiscard]] bool hasTwelveMonths() const;

  [[nodiscard]] std::optional<Place> place(CivilDay day) const;
  [[nodiscard]] std::optional<CivilDay> dayAt(const Place& place) const;

  /// Returns one of ICU's fields of a day: its position in its week, month or year.
  [[nodiscard]] std::optional<std::int64_t> field(UCalendarDateFields field, CivilDay day) const;

  /// Returns the day moved by years (or years of weeks) or months, nullopt beyond ICU's range.
  [[nodiscard]] std::optional<CivilDay> moved(CivilDay day, UCalendarDateFields unit,
                                              std::int64_t count) const;

  /// Returns the first day of the month (`UCAL_DAY_OF_MONTH`) or year (`UCAL_DAY_OF_YEAR`) of a day.
  [[nodiscard]] std::optional<CivilDay> first(UCalendarDateFields dayOfWhat, CivilDay day) const;

  /// Returns the first day of the era; for an era that counts backward, the first day after it.
  [[nodiscard]] std::optional<CivilDay> eraBase(std::int64_t era) const;

  /// Whether years count backward in this era.
  [[nodiscard]] bool countsBackward(std::int64_t era) const;

 private:
  [[nodiscard]] std::optional<CivilDay> dayNear(const Place& place) const;

  ObjectPool<icu::Calendar> calendars_;
};

}  // namespace tq::internal
