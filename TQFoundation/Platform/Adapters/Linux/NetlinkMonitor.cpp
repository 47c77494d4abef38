#include "TQFoundation/Platform/Adapters/Linux/NetlinkMonitor.h"

#include <linux/rtnetlink.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

#include "TQFoundation/Platform/Queues/LoopQueue.h"

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
  static auto& mutex = *new std::mutex;
  static NetlinkMonitor* monitor = nullptr;
  const std::scoped_lock lock(mutex);
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
    : socket_(openNetlinkSocket(kGroups)),
      settling_(openNetlinkSocket(0)),
      view_(NetlinkView::open()),
      handedOver_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

NetlinkMonitor::~NetlinkMonitor() {
  if (handedOver_ >= 0) ::close(handedOver_);
}

// The kernel wakes one of those who wait exclusively, in the order in which they began to watch: the main
// thread if it sleeps in `sleepOnMainThread`, else the monitor's own.
bool NetlinkMonitor::startListening() {
  const bool mainCanListen = mainThread_.add(descriptor(), EPOLLEXCLUSIVE | EPOLLET);
  if (!ownThread_.add(descriptor(), EPOLLEXCLUSIVE) || !ownThread_.add(handedOver_)) return false;
  try {
    std::thread([this] { listen(); }).detach();
  } catch (const std::system_error&) {
    return false;
  }
  if (mainCanListen) DispatchQueue::main()->setSleep([this](int wakeUp) { sleepOnMainThread(wakeUp); });
  return true;
}

void NetlinkMonitor::listen() {
  for (;;) {
    static_cast<void>(ownThread_.wait(descriptor()));
    eventfd_t count = 0;
    static_cast<void>(::eventfd_read(handedOver_, &count));
    std::unique_lock taking(taking_);
    lookAgain(taking);
  }
}

// What somebody has asked the kernel to do with a route is over by now, or within a microsecond. Other
// changes can take long, and this thread is not to wait for their end.
void NetlinkMonitor::sleepOnMainThread(int wakeUp) {
  if (std::exchange(wakeUp_, wakeUp) != wakeUp) mainThread_.add(wakeUp);
  if (!mainThread_.wait(descriptor())) return;
  if (std::unique_lock taking(taking_, std::try_to_lock); taking && nextIsOfARequestedRoute()) {
    lookAgain(taking);
  } else {
    ::eventfd_write(handedOver_, 1);
  }
}

bool NetlinkMonitor::nextIsOfARequestedRoute() const {
  nlmsghdr header{};
  const auto got = ::recv(descriptor(), &header, sizeof header, MSG_PEEK | MSG_DONTWAIT);
  return got == sizeof header && header.nlmsg_pid != 0 &&
         (header.nlmsg_type == RTM_NEWROUTE || header.nlmsg_type == RTM_DELROUTE);
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
  const std::scoped_lock lock(mutex_);
  watchers_.insert_or_assign(watcher.get(), watcher);
}

void NetlinkMonitor::remove(const NetlinkWatcher* watcher) {
  const std::scoped_lock lock(mutex_);
  watchers_.erase(watcher);
}

NetlinkMonitor::Watchers NetlinkMonitor::watchers() {
  const std::scoped_lock lock(mutex_);
  Watchers alive;
  alive.reserve(watchers_.size());
  for (const auto& [key, watcher] : watchers_)
    if (auto held = watcher.lock()) alive.push_back(std::move(held));
  return alive;
}

void NetlinkMonitor::lookAgain(std::unique_lock<std::mutex>& taking) {
  if (!takeMessages()) return;  // another thread was faster
  Watchers all;                 // let go of without a lock: a watcher may end here
  std::vector<Delivery> deliveries;
  {
    const std::scoped_lock turn(turn_);
    all = watchers();
    for (const auto& watcher : all) {
      watcher->networkMayHaveChanged();
      if (auto queue = watcher->lookAgain()) deliveries.push_back({watcher, std::move(queue)});
    }
  }
  taking.unlock();
  deliver(deliveries);
}

void NetlinkMonitor::lookAgain(const std::shared_ptr<NetlinkWatcher>& watcher) {
  std::shared_ptr<DispatchQueue> queue;
  {
    const std::scoped_lock turn(turn_);
    queue = watcher->lookAgain();
  }
  if (queue) deliver({{watcher, queue}});
}

// When the socket overran, the kernel drops messages until it has been emptied, and says so once to whoever
// reads first. Nobody needs to hear it: the look that follows the emptying sees all that was not told.
//
// The kernel tells of the end of an IPv4 route before it takes the route away, and of that of a link or an
// address before it takes away what depends on it. Whoever looked in between would see half of a change, and
// nothing would tell of the rest.
bool NetlinkMonitor::takeMessages() {
  std::array<mmsghdr, kMessagesPerCall> messages{};  // of which nothing is wanted but that they go
  bool any = false;
  ++state_;
  for (int calls = 0;; ++calls) {
    if (calls == kMostCallsPerLook) {
      ::eventfd_write(handedOver_, 1);  // for the rest
      break;
    }
    const int taken = ::recvmmsg(descriptor(), messages.data(), messages.size(), MSG_DONTWAIT, nullptr);
    if (taken < 0 && errno != ENOBUFS && errno != EINTR) break;
    any = true;
    if (taken >= 0 && static_cast<std::size_t>(taken) < messages.size()) break;
  }
  if (any) waitForConfiguration(*settling_);
  ++state_;
  return any;
}

void NetlinkMonitor::deliver(const std::vector<Delivery>& deliveries) {
  for (const auto& [watcher, queue] : deliveries)
    queue->asyncHereIfIdle([held = watcher] { held->deliver(); });
}

}  // namespace tq
