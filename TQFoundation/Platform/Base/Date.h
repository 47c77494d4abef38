#pragma once

#include <chrono>

namespace tq {

/// A point in time: milliseconds since 1970-01-01T00:00:00Z with a fraction, leap seconds apart.
///
///     const Date now = std::chrono::system_clock::now();
///     const Date release = std::chrono::sys_days{2024y / 3 / 5} + 9h;
///
/// It has no time zone of its own. Around the present it is exact to a quarter of a microsecond, and it
/// reaches as far as any calendar does, millions of years either way. One that is not a number or infinite is
/// no date: operations that return a date return it unchanged.
using Date = std::chrono::time_point<std::chrono::system_clock, std::chrono::duration<double, std::milli>>;

}  // namespace tq
