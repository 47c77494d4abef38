#pragma once

#include <cstdint>
#include <string>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Ports/UserSettings.h"

namespace tq {

/// Writes durations the way a clock does: "01:05", "02:46:40".
///
///     DateComponentsFormatter formatter;
///     formatter.zeroFormattingBehavior = DateComponentsFormatter::ZeroFormattingBehavior::pad;
///     formatter.allowedUnits = DateComponentsFormatter::minute | DateComponentsFormatter::second;
///     formatter.string(65.9);                       // "01:05"
///
/// The largest of the allowed units takes all that there is, so that an hour may be "60:00"; what is smaller
/// than the smallest one is cut off. A negative duration begins with "-", unless what is left of it is zero.
///
/// Between the fields stands what the user's locale puts there in durations, nearly everywhere a colon, and
/// digits are those of that locale. Making one of these costs next to nothing.
///
/// Not thread-safe: one thread at a time; each thread makes its own.
class TQ_API DateComponentsFormatter {
 public:
  /// How a field is written that is short or zero.
  enum class ZeroFormattingBehavior : std::uint32_t {
    standard = 1,   ///< In two digits, but the leading field in as few as it has.
    pad = 1U << 16  ///< In two digits at least, the leading field included.
  };

  /// Units, to be joined by "|".
  using Units = std::uint32_t;
  static constexpr Units hour = 1U << 5;
  static constexpr Units minute = 1U << 6;
  static constexpr Units second = 1U << 7;

  ZeroFormattingBehavior zeroFormattingBehavior = ZeroFormattingBehavior::standard;
  Units allowedUnits = hour | minute | second;

  /// The text of a duration in seconds. "--:--" for what is not a number, infinite or beyond the whole
  /// numbers of 64 bits; empty where no unit is allowed.
  ///
  /// Thread-safe.
  [[nodiscard]] std::string string(double from,
                                   const UserSettingsSource& settings = *UserSettingsSource::shared()) const;
};

}  // namespace tq
