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

namespace tq::internal {
namespace {

constexpr unsigned group(rtnetlink_groups number) {
  return 1U << (static_cast<unsigned>(number) - 1);
}

constexpr unsigned kGroups = group(RTNLGRP_LINK) | group(RTNLGRP_IPV4_IFADDR) | group(RTNLGRP_IPV6_IFADDR) |
                             group(RTNLGRP_IPV4_ROUTE) | group(RTNLGRP_IPV6_ROUTE) |
                             group(RTNLGRP_IPV4_RULE) | group(RTNLGRP_IPV6_RULE) | group(RTNLGRP_NEXTHOP);

// A flood is taken in pieces of about what the socket holds.
constexpr std::size_t kMessagesPerCall = 8;
constexpr int kMostCallsPerTurn = 32;

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
    std::array<pollfd, 2> sources{{{.fd = descriptor(), .events = POLLIN, .revents = 0},
                                   {.fd = resolverFiles_.descriptor(), .events = POLLIN, .revents = 0}}};
    if (::poll(sources.data(), sources.size(), -1) <= 0) continue;
    if (sources[0].revents != 0) takeMessages();
    if (sources[1].revents != 0) resolverFiles_.takeChanges();
    for (const auto& watcher : watchers()) watcher->networkMayHaveChanged();
  }
}

std::optional<std::uint64_t> NetlinkMonitor::state() const {
  const std::uint64_t state = state_;
  return state % 2 == 0 ? std::optional(state) : std::nullopt;
}

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

// When the socket overran, the kernel drops messages until it has been emptied, and reports an error once.
// The socket stays readable until then, and the queries that follow see all that was dropped.
//
// The kernel announces the end of an IPv4 route before it removes the route, and that of a link or an address
// before it removes what depends on it. A query in between would see half of a change, and nothing would
// announce the rest: hence the wait for the end of the configuration step.
void NetlinkMonitor::takeMessages() {
  std::array<mmsghdr, kMessagesPerCall> messages{};  // of which nothing is wanted but that they go
  ++state_;
  for (int calls = 0; calls < kMostCallsPerTurn; ++calls) {
    const int taken = ::recvmmsg(descriptor(), messages.data(), messages.size(), MSG_DONTWAIT, nullptr);
    if (taken != static_cast<int>(messages.size())) break;
  }
  waitForConfiguration(*settling_);
  ++state_;
}

}  // namespace tq::internal
