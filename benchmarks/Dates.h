#pragma once

namespace tq::bench {

/// Measures and prints the rows of headings and durations; leaves no benchmark registered.
void measureDatesText();

}  // namespace tq::bench
