#include <algorithm>
#include <utility>

#include "TQFoundation/Platform/Adapters/Linux/NameResolver.h"
#include "TQFoundation/Platform/Adapters/Linux/NetlinkReachability.h"
#include "TQFoundation/Platform/Base/NeverDestroyed.h"

namespace tq {
namespace internal {
namespace {

// The address in the form the kernel takes: an IPv4-mapped IPv6 address (RFC 4291, 2.5.5.2) becomes an IPv4
// address, and the bytes behind the four of an IPv4 address become 0.
NetworkAddress normalized(NetworkAddress address) {
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
    auto target = std::make_shared<NetlinkReachability>(*monitor, normalized(address));
    monitor->add(target);
    return target;
  }

  [[nodiscard]] SCNetworkReachabilityRef createWithName(std::string_view text) override {
    auto name = hostNameOf(text);
    if (!name) return nullptr;
    if (const auto address = addressOfNumericName(*name)) return createWithAddress(*address);
    auto* const monitor = NetlinkMonitor::shared();
    if (monitor == nullptr) return nullptr;
    auto target = std::make_shared<NetlinkNamedReachability>(*monitor, std::move(*name));
    monitor->add(target);
    target->networkMayHaveChanged();  // resolves it for the first time
    return target;
  }
};

}  // namespace
}  // namespace internal

const std::shared_ptr<SCNetworkReachabilityProvider>& SCNetworkReachabilityProvider::shared() {
  static const NeverDestroyed<std::shared_ptr<SCNetworkReachabilityProvider>> provider(
      std::make_shared<internal::NetlinkReachabilityProvider>());
  return *provider;
}

}  // namespace tq
