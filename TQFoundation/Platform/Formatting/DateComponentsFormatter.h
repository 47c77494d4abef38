#pragma once

#include <cstdint>
#include <string>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Ports/UserSettings.h"

namespace tq {

/// Writes durations as a clock does: "01:05", "02:46:40".
///
///     DateComponentsFormatter formatter;
///     formatter.zeroFormattingBehavior = DateComponentsFormatter::ZeroFormattingBehavior::pad;
///     formatter.allowedUnits = DateComponentsFormatter::minute | DateComponentsFormatter::second;
///     formatter.string(65.9);                       // "01:05"
///
/// The largest of the allowed units is not limited, so an hour may be "60:00"; what is smaller than the
/// smallest one is truncated. A negative duration begins with "-", unless it is truncated to zero.
///
/// The separator (a colon in nearly every language) and the digits are those of the user's locale for dates.
///
/// Not thread-safe: one thread at a time; each thread makes its own.
class TQ_API DateComponentsFormatter {
 public:
  /// How fields of fewer than two digits are written.
  enum class ZeroFormattingBehavior : std::uint32_t {
    standard = 1,   ///< In two digits, but the leading field in as few as it has.
    pad = 1U << 16  ///< In two digits at least, the leading field included.
  };

  /// Units, combined by "|".
  using Units = std::uint32_t;
  static constexpr Units hour = 1U << 5;
  static constexpr Units minute = 1U << 6;
  static constexpr Units second = 1U << 7;

  ZeroFormattingBehavior zeroFormattingBehavior = ZeroFormattingBehavior::standard;
  Units allowedUnits = hour | minute | second;

  /// Returns the text of a duration in seconds: "--:--" for NaN, infinity and what exceeds 64-bit integers;
  /// empty if no unit is allowed.
  ///
  /// Thread-safe.
  [[nodiscard]] std::string string(double from,
                                   const UserSettingsSource& settings = *UserSettingsSource::shared()) const;
};

}  // namespace tq
