#pragma once

#include <chrono>
#include <deque>
#include <mutex>
#include <string>

#include "TQFoundation/Platform/Adapters/Linux/NameResolver.h"
#include "TQFoundation/Platform/Adapters/Linux/NetlinkMonitor.h"
#include "TQFoundation/Platform/Ports/ReachabilityRegistration.h"
#include "TQFoundation/Platform/Ports/SCNetworkReachability.h"

namespace tq {

/// A target of which the kernel's tables tell. The flags that were seen last are kept for as long as the
/// network is still.
class NetlinkReachability : public SCNetworkReachability,
                            public NetlinkWatcher,
                            public std::enable_shared_from_this<NetlinkReachability> {
 public:
  NetlinkReachability(NetlinkMonitor& monitor, std::optional<NetworkAddresses> addresses);
  ~NetlinkReachability() override;

  [[nodiscard]] std::optional<SCNetworkReachabilityFlags> getFlags() override;
  [[nodiscard]] bool setCallback(SCNetworkReachabilityCallBack callback,
                                 const SCNetworkReachabilityContext* context) override;
  [[nodiscard]] bool setDispatchQueue(std::shared_ptr<DispatchQueue> queue) override;

  [[nodiscard]] std::shared_ptr<DispatchQueue> lookAgain() override;
  void deliver() override;

 protected:
  void setAddresses(NetworkAddresses addresses);
  [[nodiscard]] NetlinkMonitor& monitor() { return monitor_; }

 private:
  using Flags = SCNetworkReachabilityFlags;

  struct Seen {
    std::uint64_t state = 0;  // the monitor's number for the network; none is 0
    Flags flags = 0;
  };

  std::optional<Flags> look();

  NetlinkMonitor& monitor_;
  std::mutex mutex_;
  std::shared_ptr<const NetworkAddresses> addresses_;  // null before a name's first resolution
  Seen seen_;
  std::shared_ptr<const ReachabilityRegistration> registration_;
  std::shared_ptr<DispatchQueue> queue_;
  std::optional<Flags> reported_;
  std::deque<Flags> undelivered_;
};

/// A target that goes by its name: what the name stands for is asked for in the background, and again when
/// the network may have changed.
class NetlinkNamedReachability final : public NetlinkReachability {
 public:
  NetlinkNamedReachability(NetlinkMonitor& monitor, std::string name);

  void networkMayHaveChanged() override;

 private:
  using Clock = std::chrono::steady_clock;

  std::weak_ptr<NetlinkNamedReachability> weak();
  void planResolution(Clock::time_point moment);
  void resolveAt(Clock::time_point moment);
  void resolve();
  void adopt(ResolvedName resolved);

  const std::string name_;
  std::mutex planning_;
  bool underWay_ = false;
  Clock::time_point planned_ = Clock::time_point::max();
  Clock::time_point earliest_ = Clock::time_point::min();
  std::chrono::seconds patience_;
};

}  // namespace tq
