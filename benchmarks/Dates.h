#pragma once

#include <string_view>

namespace tq::bench {

inline constexpr std::string_view kDatesArea = "dates";
inline constexpr int kDatesRounds = 9;
inline constexpr double kDatesStep =
    93'784'511.25;  ///< Milliseconds: a day and some, so that most days differ.

/// Measures and prints the rows of headings and durations; leaves no benchmark registered.
void measureDatesText();

}  // namespace tq::bench
