#pragma once

#include <cstdint>

#include "TQFoundation/Extensions/TQDateExtensions.h"
#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Ports/Clock.h"
#include "TQFoundation/Platform/Time/Calendar.h"

namespace tq {

/// The boundaries of the current month and of the one before it, for screens that group by month.
///
///     const auto thisMonth = videos.madeFrom(firstDayOfMonth());
///     const auto lastMonth = videos.made(firstDayOfPreviousMonth(), firstDayOfMonth());
///
/// Each is computed for the moment of the call, in the user's calendar of that moment: two calls around
/// midnight at the end of a month may refer to different months. Every date is the first moment of a day;
/// where the calendar has no result, it is the present moment.
///
/// Thread-safe.

/// Returns the first moment of the current month (not, as the name has it, of the one before).
[[nodiscard]] TQ_API Date previousMonth(const Calendar& calendar = Calendar::current(),
                                        const Clock& clock = *Clock::shared());

/// Returns the same, moved to the start of its day in `shared`: another moment only if the user's zone has
/// changed since `currentCalendar` was made. The three below start from here.
[[nodiscard]] TQ_API Date firstDayOfMonth(const Calendar& calendar = Calendar::current(),
                                          const Clock& clock = *Clock::shared(),
                                          const Calendar& shared = currentCalendar());

/// Returns the current month's last day.
[[nodiscard]] TQ_API Date lastDayOfMonth(const Calendar& calendar = Calendar::current(),
                                         const Clock& clock = *Clock::shared(),
                                         const Calendar& shared = currentCalendar());

/// Return the first and the last day of the month before.
[[nodiscard]] TQ_API Date firstDayOfPreviousMonth(const Calendar& calendar = Calendar::current(),
                                                  const Clock& clock = *Clock::shared(),
                                                  const Calendar& shared = currentCalendar());
[[nodiscard]] TQ_API Date lastDayOfPreviousMonth(const Calendar& calendar = Calendar::current(),
                                                 const Clock& clock = *Clock::shared(),
                                                 const Calendar& shared = currentCalendar());

/// Returns the number of days of the current month by the calendar, a day that the zone skipped included; 0
/// if the present moment is out of the calendar's range.
[[nodiscard]] TQ_API std::int64_t numberOfDaysInCurrentMonth(const Calendar& calendar = Calendar::current(),
                                                             const Clock& clock = *Clock::shared());

/// Returns the 1-based number of the current month in this calendar; 0 if it has none.
///
/// Thread-safe.
[[nodiscard]] TQ_API std::int64_t month(const Calendar& calendar, const Clock& clock = *Clock::shared());

}  // namespace tq
