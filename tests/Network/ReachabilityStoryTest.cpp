// What the routes, links and addresses of a network make of the way to it, step by step.

#include <net/if.h>

#include <utility>
#include <vector>

#include "tests/Network/NetlinkFixture.h"

namespace tq::tests {
namespace {

struct Step {
  const char* command;
  Flags flags;
};

struct Story {
  const char* name;
  std::vector<Step> steps;
};

class ReachabilityStory : public ReachabilityNamespace, public testing::WithParamInterface<Story> {};

// What is told, what is read, and what a fresh look sees agree after every step, and every change is told
// once.
TEST_P(ReachabilityStory, IsToldStepByStep) {
  const auto target = whole();
  ReachabilityRecorder recorder;
  recorder.watch(target, queue_);
  std::vector<Flags> changes{kNone};
  for (const auto& [command, flags] : GetParam().steps) {
    ASSERT_TRUE(shell(command)) << command;
    ASSERT_TRUE(eventually([&, expected = flags] { return target->getFlags() == expected; })) << command;
    EXPECT_EQ(whole()->getFlags(), flags) << command;
    if (changes.back() != flags) changes.push_back(flags);
    EXPECT_TRUE(recorder.waitForCount(changes.size() - 1)) << command;
  }
  changes.erase(changes.begin());
  queue_->sync([] {});
  EXPECT_EQ(recorder.heard(), changes);
}

INSTANTIATE_TEST_SUITE_P(
    Stories, ReachabilityStory,
    testing::Values(
        Story{"DefaultRoute",
              {{"ip route add default via 10.9.0.2", kReachable},
               {"ip route replace default dev v0", kDirect},
               {"ip route del default", kNone},
               {"ip route add default dev lo", kNone}}},
        Story{"InterfaceDown",
              {{"ip route add default via 10.9.0.2", kReachable},
               {"ip link set v0 down", kNone},
               {"ip link set v0 up", kNone},
               {"ip route add default via 10.9.0.2", kReachable}}},
        Story{"AddressGone",
              {{"ip route add default via 10.9.0.2", kReachable}, {"ip addr del 10.9.0.1/24 dev v0", kNone}}},
        Story{"CarrierLost",
              {{"ip route add default via 10.9.0.2", kReachable},
               {"ip link set v1 down", kNone},
               {"ip link set v1 up", kReachable}}},
        Story{"InterfaceGone",
              {{"ip route add default via 10.9.0.2", kReachable}, {"ip link del v0", kNone}}},
        Story{"IPv6",
              {{"ip -6 route add default via fd00::2", kReachable},
               {"ip -6 route add unreachable default metric 1", kNone},
               {"ip -6 route del unreachable default metric 1", kReachable},
               {"ip -6 route del default", kNone},
               {"ip -6 route add 2000::/3 via fd00::2", kReachable}}},
        Story{"Refused",
              {{"ip route add unreachable default metric 9", kNone},
               {"ip route add default via 10.9.0.2 metric 1", kReachable},
               {"ip route add blackhole 57.0.0.0/8", kReachable},
               {"ip rule add pref 1 prohibit", kNone},
               {"ip rule del pref 1", kReachable}}},
        Story{"Expiring",
              {{"echo 600 > /proc/sys/net/ipv6/route/gc_interval", kNone},
               {"ip -6 route add default via fd00::2 expires 1", kReachable},
               {"true", kNone}}},
        Story{"RoutesThatHideTheDefault",
              {{"ip route add default via 10.9.0.2", kReachable},
               {"ip route add throw 57.0.0.0/8 && ip route add throw 187.0.0.0/8", kReachable},
               {"ip route add blackhole 101.0.0.0/8", kReachable},
               {"ip route del default", kNone}}},
        Story{"RoutesThatAreNone",
              {{"ip route add 57.0.0.0/8 via 10.9.0.2 && ip route add 187.0.0.0/8 via 10.9.0.2", kNone},
               {"ip route add local default dev lo", kNone}}},
        Story{"TwoHalves",
              {{"ip route add 0.0.0.0/1 via 10.9.0.2", kNone},
               {"ip route add 128.0.0.0/1 via 10.9.0.2", kReachable},
               {"ip route add unreachable default", kReachable},
               {"ip route del 0.0.0.0/1", kNone}}},
        Story{"TableOfItsOwn",
              {{"ip route add default via 10.9.0.2 table 77", kNone},
               {"ip rule add pref 5 table 77", kReachable},
               {"ip rule del pref 5", kNone}}},
        Story{"SeveralWays",
              {{"ip route add default nexthop via 10.9.0.2 nexthop via 10.9.0.3", kReachable},
               {"ip route replace default via inet6 fe80::2 dev v0", kReachable}}},
        Story{"OneOfTwoWaysDead",
              {{"ip link add v2 type veth peer name v3 && ip addr add 10.8.0.1/24 dev v2 && ip link set v3 "
                "up && "
                "ip link set v2 up",
                kNone},
               {"ip route add default nexthop via 10.9.0.2 nexthop via 10.8.0.2", kReachable},
               {"ip link set v1 down", kReachable},
               {"ip link del v2", kNone}}},
        Story{"NextHopObject",
              {{"echo 0 > /proc/sys/net/ipv4/nexthop_compat_mode && ip nexthop add id 5 via 10.9.0.2 dev v0",
                kNone},
               {"ip route add default nhid 5", kReachable},
               {"ip nexthop del id 5", kNone}}},
        Story{
            "LinksThatLeadNowhere",
            {{"ip link add br0 type bridge && ip link set br0 up && ip addr add 10.8.0.1/24 dev br0", kNone},
             {"ip link set v1 master br0", kNone},
             {"ip route add 57.66.0.0/16 via 10.9.0.2", kNone},
             {"ip link del br0", kNone}}}),
    [](const auto& story) { return story.param.name; });

TEST_F(ReachabilityNamespace, AGivenAddressIsLocalDirectOrBehindAGateway) {
  ASSERT_EQ(routes_.add({}, 0, {10, 9, 0, 2}), 0);
  NetworkAddress linkLocal{Family::ipv6, {0xfe, 0x80}, if_nametoindex("v0")};
  linkLocal.bytes[15] = 2;
  NetworkAddress loopback{Family::ipv6, {}};
  loopback.bytes[15] = 1;
  const std::pair<NetworkAddress, Flags> cases[] = {
      {{Family::ipv4, {10, 9, 0, 1}}, kLocal},
      {{Family::ipv4, {127, 0, 0, 1}}, kLocal},
      {loopback, kLocal},
      {{Family::ipv4, {10, 9, 0, 2, 0xff}}, kDirect},
      {linkLocal, kDirect},
      {{Family::ipv4, {203, 0, 113, 9}}, kReachable},
      {{Family::ipv6, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 203, 0, 113, 9}}, kReachable},
      {{Family::ipv6, {0x20, 0x01, 0x0d, 0xb8}}, kNone},
      {{Family::ipv6, {}}, kReachable},
      {{Family::ipv4, {0, 0, 0, 0, 1}}, kReachable},
  };
  for (const auto& [address, flags] : cases) {
    const auto target = SCNetworkReachabilityProvider::shared()->createWithAddress(address);
    EXPECT_EQ(target->getFlags(), flags) << &address - &cases[0].first;
  }
}

}  // namespace
}  // namespace tq::tests
