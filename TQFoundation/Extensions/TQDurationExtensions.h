#pragma once

#include <cstdint>
#include <string>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Formatting/DateComponentsFormatter.h"
#include "TQFoundation/Platform/Ports/UserSettings.h"

namespace tq {

/// Returns the formatter of a remaining time of about `seconds`: all fields in two digits, minutes and
/// seconds up to an hour, beyond it (from 3601) hours as well.
///
///     const auto formatter = timeRemainingFormatterWith(3600);
///     formatter.string(3600);                     // "60:00"
///
/// Thread-safe.
[[nodiscard]] TQ_API DateComponentsFormatter timeRemainingFormatterWith(std::int64_t seconds);

/// A duration in seconds as clocks show it, in minutes and seconds up to an hour and beyond it with hours:
///
///     timeFormattedString(65.9);                    // "01:05"
///     timeFormattedString(3600.5);                  // "60:00"
///     timeFormattedString(3601.0);                  // "01:00:01"
///     timeFormattedString(-65.0);                   // "-01:05"
///
/// A fraction is cut off. A negative duration has no hours however long it is. "--:--" for what is not a
/// number, infinite or beyond the whole numbers of 64 bits.
///
/// The user's locale for dates decides what stands between the fields, and which digits are written (see
/// `DateComponentsFormatter`). Thread-safe.
[[nodiscard]] TQ_API std::string timeFormattedString(
    double seconds, const UserSettingsSource& settings = *UserSettingsSource::shared());
[[nodiscard]] TQ_API std::string timeFormattedString(
    float seconds, const UserSettingsSource& settings = *UserSettingsSource::shared());

}  // namespace tq
