#pragma once

#include <cstdint>

#include "TQFoundation/Extensions/TQDateExtensions.h"
#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Ports/Clock.h"
#include "TQFoundation/Platform/Time/Calendar.h"

namespace tq {

/// The boundaries of the current month and of the one before it, for screens that group by month; a value of
/// this type is a `platform::Calendar` and nothing more.
///
///     const auto thisMonth = videos.madeFrom(Calendar::firstDayOfMonth());
///     const auto lastMonth = videos.made(Calendar::firstDayOfPreviousMonth(), Calendar::firstDayOfMonth());
///
/// All answer for the moment at which they are asked, in the user's calendar of that moment: two answers
/// around midnight at the end of a month may be about different months. Every date is the first moment of a
/// day; where the calendar has no answer, it is the present moment.
///
/// Callable from any thread, as long as none changes the environment meanwhile.
class TQ_API Calendar : public platform::Calendar {
 public:
  /// The calendar of this value.
  explicit Calendar(const platform::Calendar& calendar) : platform::Calendar(calendar) {}

  /// The first moment of the current month (not, as the name has it, of the one before).
  [[nodiscard]] static Date previousMonth(const platform::Clock& clock = *platform::Clock::shared(),
                                          const platform::Calendar& calendar = platform::Calendar::current());

  /// The same, put to the start of its day in `shared`; another moment only after the user's zone has changed
  /// since `currentCalendar` was made. The three below go from here.
  [[nodiscard]] static Date firstDayOfMonth(
      const platform::Clock& clock = *platform::Clock::shared(),
      const platform::Calendar& calendar = platform::Calendar::current(),
      const platform::Calendar& shared = currentCalendar());

  /// The current month's last day.
  [[nodiscard]] static Date lastDayOfMonth(const platform::Clock& clock = *platform::Clock::shared(),
                                           const platform::Calendar& calendar = platform::Calendar::current(),
                                           const platform::Calendar& shared = currentCalendar());

  /// The first and the last day of the month before.
  [[nodiscard]] static Date firstDayOfPreviousMonth(
      const platform::Clock& clock = *platform::Clock::shared(),
      const platform::Calendar& calendar = platform::Calendar::current(),
      const platform::Calendar& shared = currentCalendar());
  [[nodiscard]] static Date lastDayOfPreviousMonth(
      const platform::Clock& clock = *platform::Clock::shared(),
      const platform::Calendar& calendar = platform::Calendar::current(),
      const platform::Calendar& shared = currentCalendar());

  /// How many days the current month has by the calendar, one that the zone skipped included; 0 where the
  /// calendar does not know.
  [[nodiscard]] static std::int64_t numberOfDaysInCurrentMonth(
      const platform::Clock& clock = *platform::Clock::shared(),
      const platform::Calendar& calendar = platform::Calendar::current());
};

/// The number of the current month in this calendar, 1 being the first; 0 where it has none.
///
/// Callable from any thread.
[[nodiscard]] TQ_API std::int64_t month(const platform::Calendar& calendar,
                                        const platform::Clock& clock = *platform::Clock::shared());

}  // namespace tq
