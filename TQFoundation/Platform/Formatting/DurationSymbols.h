#pragma once

#include <array>
#include <string>

#include "TQFoundation/Platform/Localization/Locale.h"

namespace tq::internal {

/// How a locale writes durations: what separates hours, minutes and seconds, and the digits zero to nine.
struct DurationSymbols {
  std::string separator;
  std::array<std::string, 10> digits;

  /// Takes some 100 microseconds.
  [[nodiscard]] static DurationSymbols of(const Locale& locale);
};

}  // namespace tq::internal
