#pragma once

#include <optional>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/NSError.h"
#include "TQFoundation/Platform/Ports/NSURLSession.h"

namespace tq {

/// What would help a transfer that failed.
enum class Recovery {
  now,                 ///< The connection broke: another one may work at once.
  later,               ///< The server or the way to it is in trouble: try again after a pause.
  whenNetworkReturns,  ///< There is no way to the server.
  whenSpaceReturns,    ///< The volume is full.
  needsUser,           ///< A password, a permission or a certificate: only a person can help.
  never                ///< The same request fails the same way again, or nothing failed at all.
};

/// Returns what would help a transfer that ended with `error`, or, without one, with the body of `response`.
///
///     if (recoveryOf(error, task->response()) == Recovery::needsUser) askForPassword();
///
/// An error decides alone; the status does where there is none: 408, 425, 429 and every 5xx are worth another
/// try, 401, 403 and 407 need the user, all others are final. Codes and domains that it does not know are
/// final too. Thread-safe.
[[nodiscard]] TQ_API Recovery recoveryOf(const std::optional<NSError>& error,
                                         const std::optional<NSHTTPURLResponse>& response);

}  // namespace tq
