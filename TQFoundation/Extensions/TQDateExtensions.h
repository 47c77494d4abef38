#pragma once

#include <cstdint>

#include "TQFoundation/Platform/Base/Date.h"
#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Ports/UserSettings.h"
#include "TQFoundation/Platform/Time/Calendar.h"

namespace tq {

/// Calendar arithmetic on points in time, in the user's calendar.
///
///     const Date today = startOfTheDay(clip.created());
///     if (days(now, clip.created()) < 7) showAsNew(clip);             // whole days elapsed
///     if (interval(now, Component::day, clip.created()) == 1) ...     // made yesterday, by the date
///
/// Days, weeks, months and years are civil: a day of 23 or 25 hours is one day. For a date that the calendar
/// cannot represent (NaN, infinity, millions of years away), dates are returned unchanged and numbers are 0.
///
/// All are thread-safe.

/// Returns the user's calendar as it was at the first use in this process. Later changes of the zone or the
/// locale do not affect it. Never destroyed.
[[nodiscard]] TQ_API const Calendar& currentCalendar();

/// Returns the first moment of `date`'s day: 00:00 where that exists, else the first instant after the gap.
[[nodiscard]] TQ_API Date startOfTheDay(Date date, const Calendar& calendar = currentCalendar());

/// Returns 12:00 on `date`'s day; where clocks skip it, the first instant after the gap.
[[nodiscard]] TQ_API Date noon(Date date, const Calendar& calendar = currentCalendar());

/// Return noon of the day before `date`'s, and of the day after it. A day that the zone skipped is passed
/// over.
[[nodiscard]] TQ_API Date yesterday(Date date, const Calendar& calendar = currentCalendar());
[[nodiscard]] TQ_API Date tomorrow(Date date, const Calendar& calendar = currentCalendar());

/// Return the whole units from `from` to `date`, truncated toward zero; negative if `date` is earlier. Days
/// and larger units are counted by the wall clock (31 January to 1 March is one month), smaller ones as
/// elapsed time.
[[nodiscard]] TQ_API std::int64_t years(Date date, Date from, const Calendar& calendar = currentCalendar());
[[nodiscard]] TQ_API std::int64_t months(Date date, Date from, const Calendar& calendar = currentCalendar());
[[nodiscard]] TQ_API std::int64_t weeks(Date date, Date from, const Calendar& calendar = currentCalendar());
[[nodiscard]] TQ_API std::int64_t days(Date date, Date from, const Calendar& calendar = currentCalendar());
[[nodiscard]] TQ_API std::int64_t hours(Date date, Date from, const Calendar& calendar = currentCalendar());
[[nodiscard]] TQ_API std::int64_t minutes(Date date, Date from, const Calendar& calendar = currentCalendar());
[[nodiscard]] TQ_API std::int64_t seconds(Date date, Date from, const Calendar& calendar = currentCalendar());

/// Returns the number of unit boundaries between `from` and `date`: one day from 23:59 to 00:01. Computed
/// from the units' ordinals within their eras, so across a change of era (a new emperor's) it is the
/// difference of two unrelated counts. 0 for a component that has no such ordinal.
[[nodiscard]] TQ_API std::int64_t interval(Date date, Calendar::Component ofComponent, Date from,
                                           const Calendar& calendar = currentCalendar());

/// Returns the first moment of `date`'s day by `dayFormatter()`: in the user's zone at this moment, which
/// `startOfTheDay` does not follow.
[[nodiscard]] TQ_API Date day(Date date, const UserSettingsSource& settings = *UserSettingsSource::shared());

}  // namespace tq
