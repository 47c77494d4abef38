#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include "TQFoundation/Platform/Base/Export.h"
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

  /// Changes the flags, absent for "cannot tell", and has the callbacks called where that makes a difference.
  void set(std::optional<Flags> flags);

  /// Has every callback called although nothing has changed, as a system may.
  void callBackAnyway();

  void refuse(Refusals refusals);

  /// Waits until the queues of all targets have run what they have been given so far.
  void waitForCallbacks();

  /// How many targets have a callback or a queue set.
  [[nodiscard]] int registrations() const;

  /// How often flags have been read.
  [[nodiscard]] int reads() const;

  [[nodiscard]] SCNetworkReachabilityRef createWithAddress(const NetworkAddress& address) override;
  [[nodiscard]] SCNetworkReachabilityRef createWithName(std::string_view name) override;

 private:
  class Target;
  struct State;

  [[nodiscard]] std::vector<std::shared_ptr<Target>> targets() const;
  [[nodiscard]] SCNetworkReachabilityRef create();

  const std::shared_ptr<State> state_;
  mutable std::mutex mutex_;
  std::vector<std::weak_ptr<Target>> targets_;
};

}  // namespace tq
