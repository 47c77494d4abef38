// Names, and links of all kinds, in files and devices that only this program sees.

#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <fstream>
#include <utility>
#include <vector>

#include "tests/Network/NetlinkFixture.h"

namespace tq::tests {
namespace {

// Puts `text` where the system has `path`, for this program alone.
void replaceFile(const std::string& path, const std::string& text) {
  const std::string own = "/tmp/tq-" + std::to_string(::getpid()) + path.substr(path.rfind('/') + 1);
  std::ofstream(own) << text;
  ASSERT_TRUE(shell("mount --bind " + own + " " + path + " && rm " + own));
}

TEST_F(ReachabilityNamespace, ANameIsResolvedInTheBackgroundAndAgainWhenTheNetworkChanges) {
  replaceFile("/etc/hosts", "127.0.0.1 localhost\n0.0.0.0 nowhere.test\n");
  replaceFile("/etc/resolv.conf", "nameserver 203.0.113.53\n");  // there is no way to it
  const auto localhost = named("localhost"), nowhere = named("nowhere.test"), later = named("later.test");
  EXPECT_TRUE(eventually([&] { return localhost->getFlags() == kLocal; }));
  EXPECT_TRUE(eventually([&] { return nowhere->getFlags() == kNone; }));
  EXPECT_TRUE(eventually([&] { return later->getFlags() == kNone; }));
  ReachabilityRecorder recorder;
  recorder.watch(later, queue_);
  std::ofstream("/etc/hosts", std::ios::app) << "10.9.0.2 later.test\n";
  ASSERT_EQ(routes_.add({10, 7, 0, 0}, 16, {10, 9, 0, 2}), 0);
  EXPECT_TRUE(recorder.waitUntil([](const auto& heard) { return !heard.empty(); }));
  EXPECT_EQ(recorder.heard(), (std::vector<Flags>{kDirect}));
}

TEST_F(ReachabilityNamespace, ASilentNameServerBlocksNobodyAndIsAskedAgain) {
  replaceFile("/etc/hosts", "127.0.0.1 localhost\n");
  replaceFile("/etc/resolv.conf", "nameserver 10.9.0.2\noptions timeout:1 attempts:1\n");
  const auto begin = std::chrono::steady_clock::now();
  const auto silent = named("silent.test");
  EXPECT_FALSE(silent->getFlags());
  named("gone.test").reset();  // while it is being asked for
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 500ms);
  const auto localhost = named("localhost");
  EXPECT_TRUE(eventually([&] { return localhost->getFlags() == kLocal; }));
  EXPECT_FALSE(silent->getFlags());
  EXPECT_TRUE(eventually([&] { return silent->getFlags() == kNone; }));
  std::ofstream("/etc/hosts", std::ios::app) << "10.9.0.2 silent.test\n";
  EXPECT_TRUE(eventually([&] { return silent->getFlags() == kDirect; }));
}

TEST_F(ReachabilityNamespace, NumbersAreAddressesAndWhatIsNoNameIsRefused) {
  EXPECT_EQ(named("10.9.0.1")->getFlags(), kLocal);
  EXPECT_EQ(named("fd00::2")->getFlags(), kDirect);
  for (const std::string& name :
       {std::string(), std::string("a\0b", 3), std::string("a\nb"), std::string(255, 'a'),
        std::string("\xc3\xbc\xff.test"), std::string(200, '\xc3') + std::string(50, 'a')})
    EXPECT_FALSE(named(name)) << name;
  EXPECT_TRUE(
      named("b\xc3\xbc"
            "cher.test"));
}

// A tunnel of this program's own, which may pretend to be a link of any type.
class Tunnel {
 public:
  explicit Tunnel(int type) : file_(::open("/dev/net/tun", O_RDWR | O_CLOEXEC)) {
    ifreq request{};
    std::string("t0").copy(request.ifr_name, IFNAMSIZ - 1);
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    works_ = file_ >= 0 && ::ioctl(file_, TUNSETIFF, &request) == 0 &&
             ::ioctl(file_, TUNSETLINK, type) == 0 &&
             shell("ip link set t0 up && ip route add default dev t0");
  }
  ~Tunnel() { ::close(file_); }
  Tunnel(const Tunnel&) = delete;
  Tunnel& operator=(const Tunnel&) = delete;
  [[nodiscard]] bool works() const { return works_; }

 private:
  const int file_;
  bool works_ = false;
};

TEST_F(ReachabilityNamespace, CellularLinksAreKnownByTheirKind) {
  constexpr int kRawIP = 519;
  const std::pair<int, Flags> types[] = {{ARPHRD_NONE, kDirect},
                                         {ARPHRD_PPP, kWWAN | kSCNetworkReachabilityFlagsTransientConnection},
                                         {kRawIP, kWWAN}};
  for (const auto& [type, flags] : types) {
    const Tunnel tunnel(type);
    if (!tunnel.works()) GTEST_SKIP() << "no /dev/net/tun";
    EXPECT_EQ(whole()->getFlags(), flags) << type;
  }
  ASSERT_TRUE(shell("mount -t tmpfs none /sys/class/net && mkdir /sys/class/net/v0 /sys/class/net/w0"));
  std::ofstream("/sys/class/net/v0/uevent") << "DEVTYPE=wlan\nINTERFACE=v0\n";
  std::ofstream("/sys/class/net/w0/uevent") << "INTERFACE=w0\nDEVTYPE=wwan\n";
  ASSERT_TRUE(shell("ip route add default dev v0"));
  EXPECT_EQ(whole()->getFlags(), kDirect);
  ASSERT_TRUE(shell(
      "ip link set v0 down && ip link set v0 name w0 && ip link set w0 up && ip route add default dev w0"));
  EXPECT_TRUE(eventually([] { return whole()->getFlags() == kWWAN; }));
  shell("ip link del w0");
}

}  // namespace
}  // namespace tq::tests
