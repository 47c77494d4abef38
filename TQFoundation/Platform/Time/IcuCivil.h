#pragma once

#include <unicode/calendar.h>

#include <cstdint>
#include <memory>
#include <optional>

#include "TQFoundation/Platform/Base/ObjectPool.h"

namespace tq {

/// Days since 1970-01-01, in whatever zone.
using CivilDay = std::int64_t;

/// A calendar system's rules for days, apart from any time zone.
///
/// Thread-safe.
class IcuCivil {
 public:
  /// The farthest days that ICU counts.
  static constexpr CivilDay kFirstDay = -2'133'147'020;
  static constexpr CivilDay kLastDay = 2'128'265'844;

  /// The place of a day in the system. Months count from 0, as ICU's do, and whatever goes beyond its range
  /// carries over.
  struct Place {
    std::int64_t era = 0;
    std::int64_t year = 1;
    std::int64_t month = 0;
    bool leapMonth = false;
    std::int64_t day = 1;
  };

  /// `calendar` is set to count in UTC.
  explicit IcuCivil(std::unique_ptr<const icu::Calendar> calendar) : calendars_(std::move(calendar)) {}

  /// Whether every year has twelve months.
  [[nodiscard]] bool hasTwelveMonths() const;

  [[nodiscard]] std::optional<Place> place(CivilDay day) const;
  [[nodiscard]] std::optional<CivilDay> dayAt(const Place& place) const;

  /// One of ICU's fields that say where in its week, month or year a day is.
  [[nodiscard]] std::optional<std::int64_t> field(UCalendarDateFields field, CivilDay day) const;

  /// The day moved by so many years (or years of weeks) or months, as long as ICU's count reaches.
  [[nodiscard]] std::optional<CivilDay> moved(CivilDay day, UCalendarDateFields unit,
                                              std::int64_t count) const;

  /// The first day of the month (`UCAL_DAY_OF_MONTH`) or year (`UCAL_DAY_OF_YEAR`) that the day is in.
  [[nodiscard]] std::optional<CivilDay> first(UCalendarDateFields dayOfWhat, CivilDay day) const;

  /// The first day of the era; of an era that counts backward, the first day after it.
  [[nodiscard]] std::optional<CivilDay> eraBase(std::int64_t era) const;

  /// Whether years count backward in this era.
  [[nodiscard]] bool countsBackward(std::int64_t era) const;

 private:
  [[nodiscard]] std::optional<CivilDay> dayNear(const Place& place) const;

  internal::ObjectPool<icu::Calendar> calendars_;
};

}  // namespace tq
