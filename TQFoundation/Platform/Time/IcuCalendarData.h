#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "TQFoundation/Platform/Time/Calendar.h"
#include "TQFoundation/Platform/Time/IcuCalendarSystem.h"

namespace tq {

struct Calendar::Data {
  std::string identifier;
  TimeZone timeZone;
  Locale locale;
  int firstWeekday;
  int minimumDaysInFirstWeek;
  internal::IcuCalendarSystem system;
};

/// What a wall clock shows: a day, and the milliseconds since it began.
struct Calendar::CivilTime {
  internal::CivilDay day = 0;
  double time = 0;
};

}  // namespace tq
