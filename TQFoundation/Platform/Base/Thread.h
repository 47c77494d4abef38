#pragma once

#include <functional>
#include <string_view>

namespace tq::internal {

/// Starts a detached thread called `name` (15 characters at most) that runs `body`. Returns false when the
/// system refuses another thread.
[[nodiscard]] bool startThread(const char* name, std::function<void()> body);

/// Gives the thread that calls this a name of 15 characters at most.
void nameThisThread(const char* name);

/// Writes "TQFoundation: MISSING: REASON" to standard error and aborts. For what the library cannot go on
/// without, and whose lack would otherwise show as a wait without an end. No reason is written when
/// `systemError` is 0.
[[noreturn]] void abortForWantOf(std::string_view missing, int systemError);

}  // namespace tq::internal
