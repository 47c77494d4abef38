#pragma once

#include <string>
#include <vector>

namespace tq::tool {

/// Prints what the library makes of a date: its day's boundaries, neighbours and headings, and its month's
/// first and last days, in the user's calendar, zone and language. `date` is as `tq dates --help` says; empty
/// is the present moment.
[[nodiscard]] int dates(const std::string& date);

/// Prints each duration, a number of seconds, as clocks show it.
[[nodiscard]] int duration(const std::vector<std::string>& seconds);

}  // namespace tq::tool
