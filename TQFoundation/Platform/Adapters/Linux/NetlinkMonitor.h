#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "TQFoundation/Platform/Adapters/Linux/NetlinkSocket.h"
#include "TQFoundation/Platform/Adapters/Linux/NetlinkView.h"
#include "TQFoundation/Platform/Base/Mutex.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"

namespace tq {

/// Somebody who wants to know when the network may have changed.
class NetlinkWatcher {
 public:
  virtual ~NetlinkWatcher() = default;

  /// Looks again and notes what has changed since the last time. Answers the queue on which `deliver` is to
  /// be called once, or null. One call at a time for all watchers of a monitor; it must not wait for anybody.
  [[nodiscard]] virtual std::shared_ptr<DispatchQueue> lookAgain() = 0;

  /// The network may have changed: comes before `lookAgain`.
  virtual void networkMayHaveChanged() {}

  virtual void deliver() = 0;
};

/// Listens to the kernel and has every watcher look again after whatever it says.
///
/// What it says is never believed: a link that goes down takes its IPv4 routes with it without
/// a word about them, and a message may be lost or forged. That something was said is reason enough to look.
///
/// Thread-safe. A thread of its own listens; it runs no callbacks.
class NetlinkMonitor {
 public:
  /// The process's own. It listens to the network namespace of the thread that asks first. Null where the
  /// system refuses; it is asked again then. Never destroyed.
  [[nodiscard]] static NetlinkMonitor* shared();

  NetlinkMonitor(const NetlinkMonitor&) = delete;
  NetlinkMonitor& operator=(const NetlinkMonitor&) = delete;

  /// The number of the state that the network is in. Who wants to keep what it sees asks for the number,
  /// looks, and keeps the number beside what it saw: that is what the network is like for as long as
  /// `isStill` says so of the number. Absent for a moment now and then, when what is seen must not be kept.
  [[nodiscard]] std::optional<std::uint64_t> state() const;

  /// Whether the network has not changed since before `state` was asked for. Costs one small system call.
  [[nodiscard]] bool isStill(std::uint64_t state) const;

  [[nodiscard]] NetlinkView& view() { return *view_; }

  void add(const std::shared_ptr<NetlinkWatcher>& watcher);
  void remove(const NetlinkWatcher* watcher);

  /// Has one watcher look again for a reason of its own.
  void lookAgain(const std::shared_ptr<NetlinkWatcher>& watcher);

  /// Does `action` while nobody looks again.
  template <class Action>
  void between(Action action) {
    const MutexLock turn(turn_);
    action();
  }

 private:
  using Watchers = std::vector<std::shared_ptr<NetlinkWatcher>>;

  struct Delivery {
    std::shared_ptr<NetlinkWatcher> watcher;
    std::shared_ptr<DispatchQueue> queue;
  };

  static std::unique_ptr<NetlinkMonitor> open();
  NetlinkMonitor();
  bool startListening();
  void listen();
  void lookAgain();
  void takeMessages();
  Watchers watchers();
  static void deliver(const std::vector<Delivery>& deliveries);
  [[nodiscard]] int descriptor() const { return mnl_socket_get_fd(socket_.get()); }

  const NetlinkSocket socket_;
  const NetlinkSocket settling_;
  const std::unique_ptr<NetlinkView> view_;
  std::atomic<std::uint64_t> state_ = 2;  // odd while messages are taken

  Mutex turn_;  // held while watchers look again; acquired before `mutex_` and the locks of the watchers

  Mutex mutex_;
  std::map<const NetlinkWatcher*, std::weak_ptr<NetlinkWatcher>> watchers_ TQ_GUARDED_BY(mutex_);
};

}  // namespace tq
