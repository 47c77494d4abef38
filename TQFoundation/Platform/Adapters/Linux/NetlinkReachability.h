#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "TQFoundation/Platform/Adapters/Common/ReachabilityTarget.h"
#include "TQFoundation/Platform/Adapters/Linux/NetlinkMonitor.h"

namespace tq::internal {

/// A target whose flags follow from the kernel's routing tables. The flags read last are kept for as long as
/// the network does not change.
///
/// Thread-safe.
class NetlinkReachability : public ReachabilityTarget, public NetlinkWatcher {
 public:
  /// A target of one address, or, with nullopt, of addresses that are not known yet.
  NetlinkReachability(NetlinkMonitor& monitor, std::optional<NetworkAddress> address);
  ~NetlinkReachability() override;

  void networkMayHaveChanged() override { flagsMayHaveChanged(); }

 protected:
  using Clock = std::chrono::steady_clock;

  void setAddresses(NetworkAddresses addresses);

 private:
  struct Kept {
    std::uint64_t state = 0;  // the monitor's number of the network's state; 0 is none
    Clock::time_point until;
    Flags flags = 0;
  };

  [[nodiscard]] std::optional<Flags> readFlags() override;
  std::optional<Flags> query();
  void queryAgainAt(Clock::time_point moment);

  NetlinkMonitor& monitor_;
  Mutex mutex_;
  std::shared_ptr<const NetworkAddresses> addresses_ TQ_GUARDED_BY(mutex_);  // null: not known yet
  Kept kept_ TQ_GUARDED_BY(mutex_);
  Clock::time_point nextQuery_ TQ_GUARDED_BY(mutex_) = Clock::time_point::max();
};

/// A target that goes by its name. The name is resolved in the background: at first, when the network or the
/// resolver's files may have changed, and again and again while it cannot be resolved.
///
/// Thread-safe.
class NetlinkNamedReachability final : public NetlinkReachability {
 public:
  NetlinkNamedReachability(NetlinkMonitor& monitor, std::string name);

  void networkMayHaveChanged() override;

 private:
  std::weak_ptr<NetlinkNamedReachability> weak();
  void planResolution(Clock::time_point moment);
  void resolveAt(Clock::time_point moment);
  void resolve();
  void adopt(NetworkAddresses addresses);

  const std::string name_;

  // Invariant: `planned_` is the moment of the next resolution, max for none. While one is under way, its end
  // carries the plan out; otherwise a timer for `planned_` is set. A timer that finds `planned_` later than
  // its own moment has been overtaken by another resolution, and does nothing.
  Mutex planning_;
  bool underWay_ TQ_GUARDED_BY(planning_) = false;
  Clock::time_point planned_ TQ_GUARDED_BY(planning_) = Clock::time_point::max();
  Clock::time_point earliest_ TQ_GUARDED_BY(planning_) = Clock::time_point::min();
  std::chrono::seconds pause_ TQ_GUARDED_BY(planning_);
};

}  // namespace tq::internal
