#include "TQFoundation/Platform/Adapters/Linux/Epoll.h"

#include <sys/epoll.h>

#include <algorithm>
#include <array>

namespace tq {

Epoll::Epoll() : descriptor_(::epoll_create1(EPOLL_CLOEXEC)) {}

bool Epoll::add(int descriptor, std::uint32_t flags) {
  epoll_event event{.events = EPOLLIN | flags, .data = {.fd = descriptor}};
  return ::epoll_ctl(descriptor_.number(), EPOLL_CTL_ADD, descriptor, &event) == 0;
}

bool Epoll::wait(int descriptor) const {
  std::array<epoll_event, 4> events{};
  const int count = ::epoll_wait(descriptor_.number(), events.data(), static_cast<int>(events.size()), -1);
  return std::any_of(events.begin(), events.begin() + std::max(count, 0),
                     [descriptor](const epoll_event& event) { return event.data.fd == descriptor; });
}

}  // namespace tq
