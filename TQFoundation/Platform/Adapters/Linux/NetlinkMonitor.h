#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "TQFoundation/Platform/Adapters/Linux/NetlinkSocket.h"
#include "TQFoundation/Platform/Adapters/Linux/NetlinkView.h"
#include "TQFoundation/Platform/Adapters/Linux/ResolverFiles.h"
#include "TQFoundation/Platform/Base/Mutex.h"

namespace tq::internal {

/// Is told that the network, or how names are resolved, may have changed.
class NetlinkWatcher {
 public:
  virtual ~NetlinkWatcher() = default;

  /// Called on the monitor's thread, without a lock. Must not wait.
  virtual void networkMayHaveChanged() = 0;
};

/// Listens to the kernel and notifies every watcher after each message.
///
/// Messages are hints: the state is queried again. A link that goes down takes its IPv4 routes with it
/// without a message about them, and a message may be lost or forged.
///
/// Thread-safe. A thread of its own listens; it runs no callbacks.
class NetlinkMonitor {
 public:
  /// The process's own. It listens to the network namespace of the thread that asks first. Null where the
  /// system refuses; the next call tries again. Never destroyed.
  [[nodiscard]] static NetlinkMonitor* shared();

  NetlinkMonitor(const NetlinkMonitor&) = delete;
  NetlinkMonitor& operator=(const NetlinkMonitor&) = delete;

  /// The number of the network's state. What is queried after this call may be kept for as long as `isStill`
  /// returns true for the number. Nullopt while messages are being taken: what is queried then may not be
  /// kept.
  [[nodiscard]] std::optional<std::uint64_t> state() const;

  /// Whether the network is unchanged since `state` was returned. Costs one small system call.
  [[nodiscard]] bool isStill(std::uint64_t state) const;

  [[nodiscard]] NetlinkView& view() { return *view_; }

  void add(const std::shared_ptr<NetlinkWatcher>& watcher);
  void remove(const NetlinkWatcher* watcher);

 private:
  using Watchers = std::vector<std::shared_ptr<NetlinkWatcher>>;

  static std::unique_ptr<NetlinkMonitor> open();
  NetlinkMonitor();
  bool startListening();
  void listen();
  void takeMessages();
  Watchers watchers();
  [[nodiscard]] int descriptor() const { return mnl_socket_get_fd(socket_.get()); }

  const NetlinkSocket socket_;
  const NetlinkSocket settling_;
  const std::unique_ptr<NetlinkView> view_;
  ResolverFiles resolverFiles_;  // used by the monitor's thread only

  // Invariant: messages are taken from the socket only while the number is odd. The kernel queues the message
  // of a change before it acknowledges the change to the process that made it. So after a change either the
  // socket is readable or the number has moved on; `isStill` looks in this order, as a message leaves the
  // socket after the number became odd.
  std::atomic<std::uint64_t> state_ = 2;

  Mutex mutex_;
  std::map<const NetlinkWatcher*, std::weak_ptr<NetlinkWatcher>> watchers_ TQ_GUARDED_BY(mutex_);
};

}  // namespace tq::internal
