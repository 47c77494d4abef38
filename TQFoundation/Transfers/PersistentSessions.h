#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "TQFoundation/Platform/Base/Date.h"
#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Ports/Clock.h"
#include "TQFoundation/Platform/Ports/NSURLSession.h"
#include "TQFoundation/Platform/Ports/SCNetworkReachability.h"
#include "TQFoundation/Platform/Ports/VolumeInfo.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"

namespace tq {

/// When a transfer is tried again, and when it is given up.
struct RetryPolicy {
  /// Tries in a row that bring no new byte before the last failure is reported. Waiting for the network or
  /// for space costs none.
  int attemptsWithoutProgress = 5;

  /// The pause before try n after the first is random, between 0 and the smaller of `longest` and
  /// first * 2^n, so that many clients of one server do not come back together.
  std::chrono::milliseconds first = std::chrono::seconds(1);
  std::chrono::milliseconds longest = std::chrono::seconds(60);

  /// A server's `Retry-After` is waited for, up to this long.
  std::chrono::seconds longestRetryAfter = std::chrono::minutes(10);

  /// How long a transfer may take in all, pauses included; absent: as long as it takes. At its end the
  /// transfer fails with `NSURLErrorTimedOut`.
  std::optional<std::chrono::milliseconds> deadline = {};

  /// Whether a transfer waits while there is no way to its server, and while the volume is full.
  bool waitForNetwork = true;
  bool waitForSpace = false;
};

/// How a transfer is getting on.
struct TransferStatus {
  enum class Waiting {
    forNothing,  ///< It runs.
    forRetry,    ///< The next try begins at `until`.
    forNetwork,  ///< There is no way to the server.
    forSpace     ///< The volume is full; it is looked at again at `until`.
  };

  Waiting waiting = Waiting::forNothing;
  Date until = {};
  int attempt = 1;             ///< Ordinal of the present try, or of the last one.
  std::int64_t received = 0;   ///< Bytes; the most that any try has brought, so it never goes back.
  std::int64_t expected = -1;  ///< Bytes; -1 while the server has not said.
};

/// Called on the session's queue when a transfer begins to wait and when it goes on.
using TransferStatusHandler = std::function<void(const URL&, const TransferStatus&)>;

/// The outside world of `persistentSessions`.
struct RetryPorts {
  std::shared_ptr<SCNetworkReachabilityProvider> network = SCNetworkReachabilityProvider::shared();
  std::shared_ptr<const VolumeInfo> volumes = VolumeInfo::shared();
  std::shared_ptr<const Clock> clock = Clock::shared();

  /// Makes the serial queue of a session.
  std::function<std::shared_ptr<DispatchQueue>()> makeQueue = [] { return DispatchQueue::serial(); };

  /// Returns a random number from 0 up to 1. Called on sessions' queues; null: the system's generator.
  std::function<double()> random = {};
};

/// Returns a maker of sessions whose transfers outlive faults: what fails in passing is tried again.
///
///     auto downloader = TQFileDownloader::make({.makeSession = persistentSessions()});
///
/// Each try is a task of a session that `inner` makes; with a place for partial files it continues where the
/// last one stopped. The delegate sees one transfer: its progress never goes back, and it is called with one
/// body and one end. A body with a status that is worth another try is dropped, the one of the last try is
/// handed over. A cancel during a pause ends the transfer at once.
///
/// `recoveryOf` decides what is worth another try. Waiting for the network watches the server's name and the
/// default route, only while there is something to wait for.
///
/// Thread-safe. The handler and the delegate run on the session's serial queue; no lock is held meanwhile.
[[nodiscard]] TQ_API NSURLSessionMaker persistentSessions(
    NSURLSessionMaker inner = &NSURLSession::sessionWithConfiguration, const RetryPolicy& policy = {},
    TransferStatusHandler onStatus = {}, RetryPorts ports = {});

}  // namespace tq
