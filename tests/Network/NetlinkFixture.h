#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "TQFoundation/Platform/Ports/SCNetworkReachability.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"
#include "tests/contract/ReachabilityContract.h"
#include "tests/support/KernelRoutes.h"

namespace tq::tests {

using namespace std::chrono_literals;
using Flags = SCNetworkReachabilityFlags;
using Family = NetworkAddress::Family;

inline constexpr Flags kNone = 0;
inline constexpr Flags kReachable = kSCNetworkReachabilityFlagsReachable;
inline constexpr Flags kDirect = kReachable | kSCNetworkReachabilityFlagsIsDirect;
inline constexpr Flags kLocal = kDirect | kSCNetworkReachabilityFlagsIsLocalAddress;
inline constexpr Flags kWWAN = kDirect | kSCNetworkReachabilityFlagsIsWWAN;

/// Why this user may have no network of its own, or nothing.
inline std::string networkRefusal;

inline SCNetworkReachabilityRef whole() {
  return SCNetworkReachabilityProvider::shared()->createWithAddress({});
}

inline SCNetworkReachabilityRef named(std::string_view name) {
  return SCNetworkReachabilityProvider::shared()->createWithName(name);
}

/// A cable between two interfaces, of which only `v0` has addresses.
struct Cable {
  Cable() {
    shell(
        "ip link add v0 type veth peer name v1 && echo 0 > /proc/sys/net/ipv6/conf/v0/accept_dad && "
        "echo 1 > /proc/sys/net/ipv6/conf/v1/disable_ipv6 && ip link set v1 up && ip link set v0 up && ip "
        "addr add 10.9.0.1/24 dev v0 && "
        "ip addr add fd00::1/64 dev v0 nodad");
    const auto there =
        SCNetworkReachabilityProvider::shared()->createWithAddress({Family::ipv4, {10, 9, 0, 2}});
    EXPECT_TRUE(eventually([&] { return there->getFlags() == kDirect; }));
  }
  ~Cable() {
    shell(
        "ip link del v0; ip route flush table main; ip -6 route flush table main; ip route flush table 77; "
        "ip nexthop flush; ip rule del pref 1; ip rule del pref 5");
  }
};

/// A test on a fresh cable.
class ReachabilityNamespace : public testing::Test {
 protected:
  void SetUp() override {
    if (!networkRefusal.empty()) GTEST_SKIP() << networkRefusal;
    cable_.emplace();
  }
  void TearDown() override { shell("umount /sys/class/net"); }

  KernelRoutes routes_;
  std::shared_ptr<DispatchQueue> queue_ = DispatchQueue::serial();
  std::optional<Cable> cable_;
};

}  // namespace tq::tests
