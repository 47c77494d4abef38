#pragma once

#include <cstdint>

#include "TQFoundation/Platform/Base/Date.h"
#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Ports/UserSettings.h"
#include "TQFoundation/Platform/Time/Calendar.h"

namespace tq {

/// Simple questions to a point in time, answered in the user's calendar.
///
///     const Date today = startOfTheDay(clip.created());
///     if (days(now, clip.created()) < 7) showAsNew(clip);             // whole days that have passed
///     if (interval(now, Component::day, clip.created()) == 1) ...     // made yesterday, by the date
///
/// Days, weeks, months and years are civil: a day of 23 or 25 hours is one day. Where the calendar has no
/// answer (a date that is none, or millions of years away), dates come back unchanged and numbers are 0.
///
/// All are thread-safe.

/// The user's calendar as it was at the first use in this process. Later changes of the zone or the locale do
/// not reach it. Never destroyed.
[[nodiscard]] TQ_API const Calendar& currentCalendar();

/// The first moment of `date`'s day: 00:00 where that exists, else the first instant after the gap.
[[nodiscard]] TQ_API Date startOfTheDay(Date date, const Calendar& calendar = currentCalendar());

/// 12:00 on `date`'s day; where clocks skip it, the first instant after the gap.
[[nodiscard]] TQ_API Date noon(Date date, const Calendar& calendar = currentCalendar());

/// Noon of the day before `date`'s, and of the day after it. A day that the zone skipped is passed over.
[[nodiscard]] TQ_API Date yesterday(Date date, const Calendar& calendar = currentCalendar());
[[nodiscard]] TQ_API Date tomorrow(Date date, const Calendar& calendar = currentCalendar());

/// Whole units from `from` to `date`, cut toward zero; negative when `date` is the earlier. From a day up
/// they are counted by the wall clock (31 January to 1 March is one month), below that as elapsed time.
[[nodiscard]] TQ_API std::int64_t years(Date date, Date from, const Calendar& calendar = currentCalendar());
[[nodiscard]] TQ_API std::int64_t months(Date date, Date from, const Calendar& calendar = currentCalendar());
[[nodiscard]] TQ_API std::int64_t weeks(Date date, Date from, const Calendar& calendar = currentCalendar());
[[nodiscard]] TQ_API std::int64_t days(Date date, Date from, const Calendar& calendar = currentCalendar());
[[nodiscard]] TQ_API std::int64_t hours(Date date, Date from, const Calendar& calendar = currentCalendar());
[[nodiscard]] TQ_API std::int64_t minutes(Date date, Date from, const Calendar& calendar = currentCalendar());
[[nodiscard]] TQ_API std::int64_t seconds(Date date, Date from, const Calendar& calendar = currentCalendar());

/// How many boundaries between units lie between `from` and `date`: from 23:59 to 00:01 it is one day, though
/// no whole one. By the units' positions in their eras, so across a change of era (a new emperor's) it is the
/// difference of two counts that have nothing in common. 0 for a component that has no such position.
[[nodiscard]] TQ_API std::int64_t interval(Date date, Calendar::Component ofComponent, Date from,
                                           const Calendar& calendar = currentCalendar());

/// The first moment of `date`'s day as `dayFormatter()` sees it: in the user's zone at this moment, which
/// `startOfTheDay` does not follow.
[[nodiscard]] TQ_API Date day(Date date, const UserSettingsSource& settings = *UserSettingsSource::shared());

}  // namespace tq
