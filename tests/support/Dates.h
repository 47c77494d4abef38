#pragma once

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "TQFoundation/Platform/Time/Calendar.h"

namespace tq::tests {

/// "2011-12-30 10:00:30" in UTC; the time may be left out, in whole or in part.
inline Date utc(const char* text) {
  using namespace std::chrono;
  int y = 0, m = 1, d = 1, hour = 0, minute = 0, second = 0;
  std::sscanf(text, "%d-%d-%d %d:%d:%d", &y, &m, &d, &hour, &minute, &second);
  const auto day = sys_days(std::chrono::year(y) / std::chrono::month(static_cast<unsigned>(m)) /
                            std::chrono::day(static_cast<unsigned>(d)));
  return day + std::chrono::hours(hour) + std::chrono::minutes(minute) + std::chrono::seconds(second);
}

inline std::string shown(Date date) {
  return std::to_string(date.time_since_epoch().count()) + " ms";
}

inline Calendar calendarOf(const char* system, const char* zone, const char* locale = "en_US") {
  return *Calendar::make(system, TimeZone::make(zone).value(), Locale(locale));
}

/// The zones of the system's database, without the other names that they go by, or those names too.
inline std::vector<std::string> zoneNames(bool aliasesToo) {
  std::vector<std::string> names;
  std::ifstream database("/usr/share/zoneinfo/tzdata.zi");
  for (std::string line; std::getline(database, line);) {
    std::istringstream words(line);
    std::string kind, first, second;
    words >> kind >> first >> second;
    if (kind == "Z") names.push_back(first);
    if (kind == "L" && aliasesToo) names.push_back(second);
  }
  return names;
}

}  // namespace tq::tests
