#include <algorithm>
#include <utility>

#include "TQFoundation/Platform/Adapters/Linux/NetlinkReachability.h"

namespace tq {
namespace {

// The same address in the one way that the kernel takes: an IPv4 address that dresses up as IPv6 (RFC
// 4291, 2.5.5.2) goes the way of IPv4, and what lies behind the four bytes of one counts for nothing.
NetworkAddress plain(NetworkAddress address) {
  using Family = NetworkAddress::Family;
  constexpr std::array<std::uint8_t, 12> kMapped{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
  auto& bytes = address.bytes;
  if (address.family == Family::ipv6 && std::equal(kMapped.begin(), kMapped.end(), bytes.begin())) {
    address.family = Family::ipv4;
    std::copy_n(bytes.begin() + kMapped.size(), 4, bytes.begin());
  }
  if (address.family == Family::ipv4) std::fill(bytes.begin() + 4, bytes.end(), std::uint8_t{0});
  return address;
}

class NetlinkReachabilityProvider final : public SCNetworkReachabilityProvider {
 public:
  [[nodiscard]] SCNetworkReachabilityRef createWithAddress(const NetworkAddress& address) override {
    auto* const monitor = NetlinkMonitor::shared();
    if (monitor == nullptr) return nullptr;
    return std::make_shared<NetlinkReachability>(*monitor, NetworkAddresses{plain(address)});
  }

  [[nodiscard]] SCNetworkReachabilityRef createWithName(std::string_view text) override {
    auto name = hostNameOf(text);
    if (!name) return nullptr;
    if (const auto address = addressOfNumericName(*name)) return createWithAddress(*address);
    auto* const monitor = NetlinkMonitor::shared();
    if (monitor == nullptr) return nullptr;
    auto target = std::make_shared<NetlinkNamedReachability>(*monitor, std::move(*name));
    monitor->add(target);
    target->networkMayHaveChanged();
    return target;
  }
};

}  // namespace

const std::shared_ptr<SCNetworkReachabilityProvider>& SCNetworkReachabilityProvider::shared() {
  static const auto& provider =
      *new std::shared_ptr<SCNetworkReachabilityProvider>(std::make_shared<NetlinkReachabilityProvider>());
  return provider;
}

}  // namespace tq
