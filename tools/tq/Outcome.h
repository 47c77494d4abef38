#pragma once

#include <string>
#include <string_view>

#include "TQFoundation/Platform/Base/NSError.h"

namespace tq::tool {

/// The exit statuses.
inline constexpr int kExitSuccess = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitInterrupted = 130;  ///< What shells report of a program that Ctrl-C has ended.

/// Writes "tq: " and `sentence`, made printable, as a line to standard error.
void say(std::string_view sentence);

/// The same, for a `return`: returns `kExitFailure`.
[[nodiscard]] int fail(std::string_view sentence);

/// Writes `text` as it is to standard output and returns the exit status: a reader that is gone or
/// a full disk is a failure.
[[nodiscard]] int write(std::string_view text);

/// A sentence for people about `error`, also for the library's errors that come without one. `subject` is
/// what was being loaded.
[[nodiscard]] std::string sentence(const NSError& error, std::string_view subject);

}  // namespace tq::tool
