#pragma once

#include <string_view>

#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// The library's one logging facade.
///
///     TQLogger::debug("Failed to create Directory at Path: " + path);
///
/// Hands each line unchanged to `Log::debug`, which shows it or not as the host has set it up.
/// File, function and line are always this logger's own: a line is known by its text.
///
/// Thread-safe; the host's sink runs on the caller's.
class TQ_API TQLogger {
 public:
  static void debug(std::string_view message);
};

}  // namespace tq
