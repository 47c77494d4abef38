#pragma once

#include <array>

#include "TQFoundation/Platform/Formatting/ShortText.h"
#include "TQFoundation/Platform/Ports/UserSettings.h"

namespace tq {

/// How the user's locale writes durations: what stands between hours, minutes and seconds, and its digits.
struct DurationStyle {
  ShortText separator;
  std::array<ShortText, 10> digits;

  /// Whether each of them is a single byte. Then these are the separator and all numbers of two digits.
  bool isNarrow = false;
  char narrowSeparator = 0;
  std::array<std::array<char, 2>, 100> pairs{};

  /// The style of the locale for dates, kept beside the settings.
  [[nodiscard]] static const DurationStyle& of(const UserSettings& settings);
};

}  // namespace tq
