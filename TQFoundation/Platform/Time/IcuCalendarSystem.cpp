#include "TQFoundation/Platform/Time/IcuCalendarSystem.h"

#include <cmath>
#include <utility>

namespace tq::internal {
namespace {

// ICU adds in 32 bits, which overflow in silence. More units than these pass every date anyway.
constexpr std::int64_t kMostYears = 12'000'000;
constexpr std::int64_t kMostMonths = 150'000'000;
constexpr std::int64_t kMostEras = 100'000;  // cycles of 60 years, where those are the eras

// ICU combines fields up to these without overflow; what exceeds them is added in a second step.
constexpr std::int64_t kNearYears = 100'000;
constexpr std::int64_t kNearMonths = 100'000;
constexpr std::int64_t kNearDays = 400;

bool within(std::int64_t value, std::int64_t most) {
  return value >= -most && value <= most;
}

bool isCounted(CivilDay day) {
  return day >= IcuCalendarSystem::kFirstDay && day <= IcuCalendarSystem::kLastDay;
}

void set(icu::Calendar& calendar, CivilDay day, UErrorCode& status) {
  calendar.setTime(static_cast<double>(day) * kDay, status);
}

std::optional<CivilDay> dayOf(icu::Calendar& calendar, UErrorCode& status) {
  const double time = calendar.getTime(status);
  if (U_FAILURE(status)) return {};
  const auto day = static_cast<CivilDay>(std::floor(time / kDay));
  return isCounted(day) ? std::optional(day) : std::nullopt;
}

/// Returns whether `moved` days can be `count` units; they cannot where ICU's 32 bits have overflowed.
bool isPlausible(UCalendarDateFields unit, std::int64_t count, CivilDay moved) {
  const double usual = unit == UCAL_MONTH ? 30 : 365;
  const double expected = static_cast<double>(count) * usual;
  return std::abs(static_cast<double>(moved) - expected) <= std::abs(expected) * 0.1 + 800;
}

}  // namespace

std::optional<IcuCalendarSystem::Place> IcuCalendarSystem::place(CivilDay day) const {
  if (!isCounted(day)) return {};
  const auto calendar = calendars_.acquire();
  UErrorCode status = U_ZERO_ERROR;
  set(*calendar, day, status);
  const Place place{.era = calendar->get(UCAL_ERA, status),
                    .year = calendar->get(UCAL_YEAR, status),
                    .month = calendar->get(UCAL_MONTH, status),
                    .leapMonth = calendar->get(UCAL_IS_LEAP_MONTH, status) != 0,
                    .day = calendar->get(UCAL_DAY_OF_MONTH, status)};
  return U_SUCCESS(status) ? std::optional(place) : std::nullopt;
}

std::optional<CivilDay> IcuCalendarSystem::dayNear(const Place& place) const {
  const auto calendar = calendars_.acquire();
  UErrorCode status = U_ZERO_ERROR;
  calendar->clear();
  calendar->set(UCAL_ERA, static_cast<int32_t>(place.era));
  calendar->set(UCAL_YEAR, static_cast<int32_t>(place.year));
  calendar->set(UCAL_MONTH, static_cast<int32_t>(place.month));
  if (place.leapMonth) calendar->set(UCAL_IS_LEAP_MONTH, 1);
  calendar->set(UCAL_DAY_OF_MONTH, static_cast<int32_t>(place.day));
  return dayOf(*calendar, status);
}

std::optional<CivilDay> IcuCalendarSystem::dayAt(const Place& place) const {
  constexpr std::int64_t kMostDays = kLastDay - kFirstDay;
  if (!within(place.era, kMostEras) || !within(place.year, kMostYears) || !within(place.month, kMostMonths) ||
      !within(place.day, kMostDays))
    return {};
  Place near = place;
  if (!within(place.year, kNearYears)) near.year = 1;
  if (!within(place.month, kNearMonths)) near.month = 0;
  if (!within(place.day, kNearDays)) near.day = 1;
  auto day = dayNear(near);
  const std::int64_t direction = near.year != place.year && countsBackward(place.era) ? -1 : 1;
  if (day && near.year != place.year) day = moved(*day, UCAL_YEAR, (place.year - near.year) * direction);
  if (day && near.month != place.month) day = moved(*day, UCAL_MONTH, place.month - near.month);
  if (!day || !isCounted(*day + place.day - near.day)) return {};
  return *day + place.day - near.day;
}

std::optional<std::int64_t> IcuCalendarSystem::field(UCalendarDateFields field, CivilDay day) const {
  if (!isCounted(day)) return {};
  const auto calendar = calendars_.acquire();
  UErrorCode status = U_ZERO_ERROR;
  set(*calendar, day, status);
  const std::int64_t value = calendar->get(field, status);
  return U_SUCCESS(status) ? std::optional(value) : std::nullopt;
}

std::optional<CivilDay> IcuCalendarSystem::moved(CivilDay day, UCalendarDateFields unit,
                                                 std::int64_t count) const {
  if (!isCounted(day) || !within(count, unit == UCAL_MONTH ? kMostMonths : kMostYears)) return {};
  const auto calendar = calendars_.acquire();
  UErrorCode status = U_ZERO_ERROR;
  set(*calendar, day, status);
  calendar->add(unit, static_cast<int32_t>(count), status);
  const auto result = dayOf(*calendar, status);
  return result && isPlausible(unit, count, *result - day) ? result : std::nullopt;
}

std::optional<CivilDay> IcuCalendarSystem::first(UCalendarDateFields dayOfWhat, CivilDay day) const {
  if (!isCounted(day)) return {};
  const auto calendar = calendars_.acquire();
  UErrorCode status = U_ZERO_ERROR;
  set(*calendar, day, status);
  calendar->get(UCAL_ERA, status);  // has the other fields computed, too, which `set` is to keep
  calendar->set(dayOfWhat, 1);
  return dayOf(*calendar, status);
}

std::optional<CivilDay> IcuCalendarSystem::eraBase(std::int64_t era) const {
  const bool backward = countsBackward(era);
  const auto calendar = calendars_.acquire();
  UErrorCode status = U_ZERO_ERROR;
  calendar->clear();
  calendar->set(UCAL_ERA, static_cast<int32_t>(backward ? era + 1 : era));
  calendar->set(UCAL_YEAR, 1);
  return dayOf(*calendar, status);
}

bool IcuCalendarSystem::hasTwelveMonths() const {
  // A calendar with leap months numbers twelve as well, but its years have more days than those can hold.
  // ICU's own maximum of UCAL_IS_LEAP_MONTH is 1 for every calendar.
  constexpr int kMostDaysInTwelveMonths = 12 * 31;
  const icu::Calendar& calendar = calendars_.prototype();
  return calendar.getMaximum(UCAL_MONTH) == UCAL_DECEMBER &&
         calendar.getMaximum(UCAL_DAY_OF_YEAR) <= kMostDaysInTwelveMonths;
}

bool IcuCalendarSystem::countsBackward(std::int64_t era) const {
  const auto first = dayAt({.era = era, .year = 1});
  const auto second = dayAt({.era = era, .year = 2});
  return first && second && *second < *first;
}

}  // namespace tq::internal
