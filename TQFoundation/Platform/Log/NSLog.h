#pragma once

#include <functional>
#include <string_view>

#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// Writes one line to the system's log, as it stands.
///
///     NSLog("  ••• machine ignoring reentry to Ready");
///
/// Until a host sets a sink, that is standard error and syslog (facility "user", level "notice").
///
/// Thread-safe; the sink runs on the caller's, with no lock held.
TQ_API void NSLog(std::string_view line);

/// Where lines go.
using NSLogSink = std::function<void(std::string_view line)>;

/// Sends every later line to `sink`; an empty one restores the system's log. A line that another thread is
/// writing meanwhile goes to the old sink.
TQ_API void setNSLogSink(NSLogSink sink);

}  // namespace tq
