#pragma once

#include <array>

#include "TQFoundation/Platform/Formatting/ShortText.h"

namespace tq {

/// How the user's locale writes durations: what stands between hours, minutes and seconds, and its digits.
struct DurationStyle {
  ShortText separator;
  std::array<ShortText, 10> digits;

  /// Whether each of them is a single byte. Then these are the separator and all numbers of two digits.
  bool isNarrow = false;
  char narrowSeparator = 0;
  std::array<std::array<char, 2>, 100> pairs{};

  /// That of the environment at the moment of the call. It belongs to the calling thread, until its next
  /// call.
  ///
  /// Thread-safe except against concurrent setenv().
  [[nodiscard]] static const DurationStyle& current();
};

}  // namespace tq
