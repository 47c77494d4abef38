#include "TQFoundation/Platform/Adapters/Linux/NetlinkMonitor.h"

#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

#include "TQFoundation/Platform/Base/NeverDestroyed.h"

namespace tq {
namespace {

constexpr unsigned group(rtnetlink_groups number) {
  return 1U << (static_cast<unsigned>(number) - 1);
}

constexpr unsigned kGroups = group(RTNLGRP_LINK) | group(RTNLGRP_IPV4_IFADDR) | group(RTNLGRP_IPV6_IFADDR) |
                             group(RTNLGRP_IPV4_ROUTE) | group(RTNLGRP_IPV6_ROUTE) |
                             group(RTNLGRP_IPV4_RULE) | group(RTNLGRP_IPV6_RULE) | group(RTNLGRP_NEXTHOP);

// A flood is looked at in pieces of about what the socket holds.
constexpr std::size_t kMessagesPerCall = 8;
constexpr int kMostCallsPerLook = 32;

}  // namespace

NetlinkMonitor* NetlinkMonitor::shared() {
  static NeverDestroyed<Mutex> mutex;
  static NetlinkMonitor* monitor = nullptr;
  const MutexLock lock(*mutex);
  if (monitor == nullptr) monitor = open().release();
  return monitor;
}

std::unique_ptr<NetlinkMonitor> NetlinkMonitor::open() {
  std::unique_ptr<NetlinkMonitor> monitor(new NetlinkMonitor);
  return monitor->socket_ && monitor->settling_ && monitor->view_ && monitor->startListening()
             ? std::move(monitor)
             : nullptr;
}

NetlinkMonitor::NetlinkMonitor()
    : socket_(openNetlinkSocket(kGroups)), settling_(openNetlinkSocket(0)), view_(NetlinkView::open()) {}

bool NetlinkMonitor::startListening() {
  try {
    std::thread([this] { listen(); }).detach();
  } catch (const std::system_error&) {
    return false;
  }
  return true;
}

void NetlinkMonitor::listen() {
  for (;;) {
    pollfd readable{.fd = descriptor(), .events = POLLIN, .revents = 0};
    if (::poll(&readable, 1, -1) > 0) lookAgain();
  }
}

std::optional<std::uint64_t> NetlinkMonitor::state() const {
  const std::uint64_t state = state_;
  return state % 2 == 0 ? std::optional(state) : std::nullopt;
}

// The kernel tells of a change before it acknowledges it to whoever made it, and a message is only taken from
// the socket while the number is odd. So a change since the number was asked for is either still to be seen
// on the socket or the number has moved on. The look at the socket comes first: a message may leave it
// between the two.
bool NetlinkMonitor::isStill(std::uint64_t state) const {
  char byte = 0;
  const auto got = ::recv(descriptor(), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
  return got < 0 && errno == EAGAIN && state_ == state;
}

void NetlinkMonitor::add(const std::shared_ptr<NetlinkWatcher>& watcher) {
  const MutexLock lock(mutex_);
  watchers_.insert_or_assign(watcher.get(), watcher);
}

void NetlinkMonitor::remove(const NetlinkWatcher* watcher) {
  const MutexLock lock(mutex_);
  watchers_.erase(watcher);
}

NetlinkMonitor::Watchers NetlinkMonitor::watchers() {
  const MutexLock lock(mutex_);
  Watchers alive;
  alive.reserve(watchers_.size());
  for (const auto& [key, watcher] : watchers_)
    if (auto held = watcher.lock()) alive.push_back(std::move(held));
  return alive;
}

void NetlinkMonitor::lookAgain() {
  takeMessages();
  const Watchers all = watchers();  // released without a lock: a watcher may end here
  std::vector<Delivery> deliveries;
  {
    const MutexLock turn(turn_);
    for (const auto& watcher : all) {
      watcher->networkMayHaveChanged();
      if (auto queue = watcher->lookAgain()) deliveries.push_back({watcher, std::move(queue)});
    }
  }
  deliver(deliveries);
}

void NetlinkMonitor::lookAgain(const std::shared_ptr<NetlinkWatcher>& watcher) {
  std::shared_ptr<DispatchQueue> queue;
  {
    const MutexLock turn(turn_);
    queue = watcher->lookAgain();
  }
  if (queue) deliver({{watcher, queue}});
}

// When the socket overran, the kernel drops messages until it has been emptied, and reports that once. The
// queries that follow the emptying see all that was dropped.
//
// The kernel announces the end of an IPv4 route before it removes the route, and that of a link or an address
// before it removes what depends on it. A query in between would see half of a change, and nothing would
// announce the rest: hence the wait for the end of the configuration step.
void NetlinkMonitor::takeMessages() {
  std::array<mmsghdr, kMessagesPerCall> messages{};  // of which nothing is wanted but that they go
  ++state_;
  for (int calls = 0; calls < kMostCallsPerLook; ++calls) {
    const int taken = ::recvmmsg(descriptor(), messages.data(), messages.size(), MSG_DONTWAIT, nullptr);
    if (taken < 0 && errno != ENOBUFS && errno != EINTR) break;
    if (taken >= 0 && static_cast<std::size_t>(taken) < messages.size()) break;
  }
  waitForConfiguration(*settling_);
  ++state_;
}

void NetlinkMonitor::deliver(const std::vector<Delivery>& deliveries) {
  for (const auto& [watcher, queue] : deliveries) queue->async([held = watcher] { held->deliver(); });
}

}  // namespace tq
