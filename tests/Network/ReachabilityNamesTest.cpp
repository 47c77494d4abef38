// Names, and links of all kinds, in files and devices that only this program sees.

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <fstream>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "TQFoundation/Platform/Base/FileDescriptor.h"
#include "tests/Network/NetlinkFixture.h"

namespace tq::tests {
namespace {

void write(const char* path, const std::string& text) {
  ASSERT_TRUE(std::ofstream(path) << text << std::flush);
}

// A name server on 127.0.0.1. It is silent about names that begin with "silent".
class NameServer {
 public:
  using Clock = std::chrono::steady_clock;
  using Bytes = std::array<std::uint8_t, 4>;

  NameServer() {
    const sockaddr_in address{
        .sin_family = AF_INET, .sin_port = htons(53), .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
    const timeval patience{.tv_sec = 0, .tv_usec = 50'000};
    EXPECT_EQ(::setsockopt(socket_.number(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience), 0);
    EXPECT_EQ(::bind(socket_.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    write("/etc/resolv.conf", "nameserver 127.0.0.1\noptions timeout:10 attempts:5\n");
  }
  ~NameServer() {
    over_ = true;
    thread_.join();
  }

  void set(const std::string& name, Bytes address) {
    const std::scoped_lock lock(mutex_);
    addresses_[name] = address;
  }
  // When IPv4 addresses of `name` were asked for.
  std::vector<Clock::time_point> asked(const std::string& name) {
    const std::scoped_lock lock(mutex_);
    return asked_[name];
  }

 private:
  void serve() {
    std::array<std::uint8_t, 512> message{};
    while (!over_) {
      sockaddr_in from{};
      socklen_t length = sizeof from;
      if (::recvfrom(socket_.number(), message.data(), message.size(), 0, reinterpret_cast<sockaddr*>(&from),
                     &length) <= 0)
        continue;
      const std::size_t size = respond(message);
      if (size > 0)
        ::sendto(socket_.number(), message.data(), size, 0, reinterpret_cast<const sockaddr*>(&from), length);
    }
  }

  // Turns the query into its response (RFC 1035, 4.1) and returns its size; 0 for none.
  std::size_t respond(std::array<std::uint8_t, 512>& message) {
    std::string name;
    std::size_t end = 12;
    for (; message[end] != 0; end += message[end] + 1U)
      name += (name.empty() ? "" : ".") +
              std::string(message.begin() + static_cast<std::ptrdiff_t>(end) + 1,
                          message.begin() + static_cast<std::ptrdiff_t>(end + message[end]) + 1);
    end += 5;  // the root label, type and class
    const bool isIPv4 = message[end - 3] == 1;
    const std::scoped_lock lock(mutex_);
    if (isIPv4) asked_[name].push_back(Clock::now());
    if (name.starts_with("silent")) return 0;
    const auto found = addresses_.find(name);
    const bool hasAddress = isIPv4 && found != addresses_.end();
    const std::array<std::uint8_t, 10> header{
        0x81, static_cast<std::uint8_t>(found == addresses_.end() ? 0x83 : 0x80), 0, 1, 0, hasAddress};
    std::copy(header.begin(), header.end(), message.begin() + 2);
    if (!hasAddress) return end;
    const auto& [a, b, c, d] = found->second;
    const std::array<std::uint8_t, 16> record{0xc0, 12, 0, 1, 0, 1, 0, 0, 0, 1, 0, 4, a, b, c, d};
    std::copy(record.begin(), record.end(), message.begin() + static_cast<std::ptrdiff_t>(end));
    return end + record.size();
  }

  const FileDescriptor socket_{::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
  std::mutex mutex_;
  std::map<std::string, Bytes> addresses_;
  std::map<std::string, std::vector<Clock::time_point>> asked_;
  std::atomic<bool> over_ = false;
  std::thread thread_{[this] { serve(); }};
};

TEST_F(ReachabilityNamespace, ANameIsResolvedAgainWhenTheNetworkOrTheResolversFilesChange) {
  NameServer server;
  server.set("served.test", {10, 9, 0, 2});
  write("/etc/hosts",
        "127.0.0.1 localhost\n0.0.0.0 nowhere.test\n203.0.113.9 two.test # one of\n10.9.0.2\tx Two.Test\n");
  const auto localhost = named("localhost"), nowhere = named("nowhere.test"), two = named("two.test");
  EXPECT_TRUE(eventually([&] { return localhost->getFlags() == kLocal; }));
  EXPECT_TRUE(eventually([&] { return nowhere->getFlags() == kNone; }));
  EXPECT_TRUE(eventually([&] { return two->getFlags() == kDirect; }));  // the second address is the one
  const auto served = named("served.test");
  ReachabilityRecorder recorder;
  recorder.watch(served, queue_);
  EXPECT_TRUE(recorder.waitForCount(1));

  server.set("served.test", {127, 0, 0, 1});
  ASSERT_EQ(routes_.add({10, 7, 0, 0}, 16, {10, 9, 0, 2}), 0);
  EXPECT_TRUE(recorder.waitForCount(2));
  server.set("served.test", {203, 0, 113, 9});
  write("/etc/resolv.conf", "nameserver 127.0.0.1\n");
  EXPECT_TRUE(recorder.waitForCount(3));
  write("/etc/hosts", "10.9.0.2 served.test\n");
  EXPECT_TRUE(recorder.waitForCount(4));
  EXPECT_EQ(recorder.heard(), (std::vector<Flags>{kDirect, kLocal, kNone, kDirect}));
}

TEST_F(ReachabilityNamespace, SilentServersHoldUpNoOtherName) {
  NameServer server;
  server.set("served.test", {10, 9, 0, 2});
  write("/etc/hosts", "127.0.0.1 localhost\n");
  std::vector<SCNetworkReachabilityRef> silent;
  for (int i = 0; i < 10; ++i) silent.push_back(named("silent" + std::to_string(i) + ".test"));
  for (int i = 0; i < 40; ++i) named("silent-and-released" + std::to_string(i) + ".test").reset();
  const auto served = named("served.test"), localhost = named("localhost");
  EXPECT_TRUE(eventually([&] { return localhost->getFlags() == kLocal; }));
  EXPECT_FALSE(silent.front()->getFlags());
  EXPECT_TRUE(eventually([&] { return served->getFlags() == kDirect; }));
  // Far sooner than after the 50 s of resolv.conf.
  EXPECT_TRUE(eventually([&] { return silent.back()->getFlags() == kNone; }));
}

TEST_F(ReachabilityNamespace, ANameThatIsNotFoundIsAskedForAgainAfterGrowingPauses) {
  NameServer server;
  const auto target = named("later.test");
  ReachabilityRecorder recorder;
  recorder.watch(target, queue_);
  ASSERT_TRUE(eventually([&] { return server.asked("later.test").size() >= 3; }));
  server.set("later.test", {10, 9, 0, 2});
  EXPECT_TRUE(
      recorder.waitUntil([](const auto& heard) { return !heard.empty() && heard.back() == kDirect; }));
  const auto asked = server.asked("later.test");
  NameServer::Clock::duration longest{};
  for (std::size_t i = 1; i < asked.size(); ++i) {
    EXPECT_GE(asked[i] - asked[i - 1], 150ms);
    longest = std::max(longest, asked[i] - asked[i - 1]);
  }
  EXPECT_GE(longest, 1'600ms);
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

TEST_F(ReachabilityNamespace, ALinkIsCellularWhereTheSystemSaysSo) {
  constexpr int kRawIP = 519;
  const std::pair<int, Flags> types[] = {
      {ARPHRD_NONE, kDirect},
      {ARPHRD_PPP, kDirect | kSCNetworkReachabilityFlagsTransientConnection},  // DSL and tunnels, too
      {kRawIP, kDirect}};
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
