#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/Mutex.h"
#include "TQFoundation/Platform/Ports/SCNetworkReachability.h"

namespace tq {

/// A network whose flags are what the test says, for every target alike.
///
///     auto network = std::make_shared<FakeReachability>(kSCNetworkReachabilityFlagsReachable);
///     auto observer = TQNetworkObserver::initWithDelegate(screen, {.network = network, .mainQueue = queue});
///     network->set(0);                     // the change is on its way to the screen
///     network->waitForCallbacks();         // and now on `queue`
///     queue->run();
///
/// Thread-safe.
class TQ_API FakeReachability final : public SCNetworkReachabilityProvider {
 public:
  using Flags = SCNetworkReachabilityFlags;

  /// What the system refuses from now on.
  struct Refusals {
    bool references = false;
    bool callbacks = false;
    bool queues = false;
  };

  explicit FakeReachability(std::optional<Flags> flags = 0);
  ~FakeReachability() override;

  /// Changes the flags, nullopt for "cannot tell", and has the callbacks called where they differ.
  void set(std::optional<Flags> flags);

  /// Has every callback called although nothing has changed, as a system may.
  void callBackAnyway();

  void refuse(Refusals refusals);

  /// Waits until the queues of all targets have run the tasks queued so far.
  void waitForCallbacks();

  /// Returns how many targets have a callback or a queue set.
  [[nodiscard]] int registrations() const;

  /// Returns how often flags have been read, other than on a target's queue.
  [[nodiscard]] int reads() const;

  [[nodiscard]] SCNetworkReachabilityRef createWithAddress(const NetworkAddress& address) override;
  [[nodiscard]] SCNetworkReachabilityRef createWithName(std::string_view name) override;

 private:
  class Target;
  struct State;

  [[nodiscard]] std::vector<std::shared_ptr<Target>> targets() const;
  [[nodiscard]] SCNetworkReachabilityRef create();

  const std::shared_ptr<State> state_;
  mutable Mutex mutex_;
  std::vector<std::weak_ptr<Target>> targets_ TQ_GUARDED_BY(mutex_);
};

}  // namespace tq
