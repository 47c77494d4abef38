#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "TQFoundation/Platform/Time/Calendar.h"
#include "TQFoundation/Platform/Time/IcuCivil.h"

namespace tq {

struct Calendar::Data {
  std::string identifier;
  TimeZone timeZone;
  Locale locale;
  int firstWeekday;
  int minimumDaysInFirstWeek;
  IcuCivil civil;
};

/// A wall clock's reading: a day, and the milliseconds of it that have passed.
struct Calendar::Reading {
  CivilDay day = 0;
  double time = 0;
};

}  // namespace tq
