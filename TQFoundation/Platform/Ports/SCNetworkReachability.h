#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

class DispatchQueue;

/// How a target can be reached: a set of the bits below.
using SCNetworkReachabilityFlags = std::uint32_t;

/// The way is a link that comes and goes, such as PPP.
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsTransientConnection = 1U << 0;
/// There is a way to the target.
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsReachable = 1U << 1;
/// A connection has to be made first ...
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsConnectionRequired = 1U << 2;
/// ... which the first traffic makes,
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsConnectionOnTraffic = 1U << 3;
/// ... for which the user has to do something,
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsInterventionRequired = 1U << 4;
/// ... which a program that asks for it gets.
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsConnectionOnDemand = 1U << 5;
/// The target is an address of this machine.
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsIsLocalAddress = 1U << 16;
/// No gateway lies between.
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsIsDirect = 1U << 17;
/// The way is a cellular link.
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsIsWWAN = 1U << 18;

class SCNetworkReachability;

/// A watched target; null is "no reference".
using SCNetworkReachabilityRef = std::shared_ptr<SCNetworkReachability>;

/// Called when the flags of `target` have become `flags`; `info` is the context's, or null once that is gone.
using SCNetworkReachabilityCallBack = void (*)(const SCNetworkReachabilityRef& target,
                                               SCNetworkReachabilityFlags flags, void* info);

/// What goes with a callback. A target keeps a copy. It does not own `info`, but holds it for the length of a
/// call, so that a call which has begun when the last owner lets go ends first.
struct SCNetworkReachabilityContext {
  std::weak_ptr<void> info{};
};

/// An internet address. The default is the all-zero IPv4 address.
struct NetworkAddress {
  enum class Family : std::uint8_t { ipv4, ipv6 };

  Family family = Family::ipv4;
  std::array<std::uint8_t, 16> bytes = {};  ///< In network order: the first 4 of them, or all 16.
  std::uint32_t scope = 0;                  ///< Index of the interface of a link-local IPv6 address.

  [[nodiscard]] bool isAllZero() const { return bytes == std::array<std::uint8_t, 16>{}; }

  friend bool operator==(const NetworkAddress&, const NetworkAddress&) = default;
};

/// One target on the network: whether and how it could be reached now.
///
///     if (const auto target = SCNetworkReachabilityProvider::shared()->createWithName("example.com")) {
///       const auto flags = target->getFlags().value_or(0);
///       if (flags & kSCNetworkReachabilityFlagsReachable) ...
///     }
///
/// "Reachable" says that the system knows a way on which a packet would leave; it does not say that a server
/// responds. Adapters derive from `ReachabilityTarget`, which does all but reading the flags.
///
/// Thread-safe. No lock is held while a callback runs; it may call back in, and may release the target.
class TQ_API SCNetworkReachability {
 public:
  SCNetworkReachability() = default;
  SCNetworkReachability(const SCNetworkReachability&) = delete;
  SCNetworkReachability& operator=(const SCNetworkReachability&) = delete;
  virtual ~SCNetworkReachability() = default;

  /// Returns the flags as they are now, or nullopt when the system cannot tell them, as for a name that is
  /// still being resolved. Never waits for the network.
  ///
  /// On the queue of `setDispatchQueue` it returns the flags that the callback has been called with last, at
  /// first those of `setDispatchQueue` itself: whatever a task on the queue reads agrees, and each later
  /// change comes with a later call.
  [[nodiscard]] virtual std::optional<SCNetworkReachabilityFlags> getFlags() = 0;

  /// Sets what is called when the flags change, with a copy of `*context`; null and null remove it. Returns
  /// false when the system refuses. A call that has begun goes to its end, also when the callback is removed.
  [[nodiscard]] virtual bool setCallback(SCNetworkReachabilityCallBack callback,
                                         const SCNetworkReachabilityContext* context) = 0;

  /// Begins to call the callback on `queue`, a serial one, when the flags change from now on; null ends it.
  /// Changes that find the queue busy may be reported as one, by the last of them. Returns false when the
  /// system refuses. The callback never runs inside this call.
  [[nodiscard]] virtual bool setDispatchQueue(std::shared_ptr<DispatchQueue> queue) = 0;
};

/// Makes targets to watch.
///
/// Thread-safe.
class TQ_API SCNetworkReachabilityProvider {
 public:
  virtual ~SCNetworkReachabilityProvider() = default;

  /// The way to `address`. The all-zero address stands for the network as a whole: whether there is a default
  /// route, of IPv4 or IPv6. Null when the system refuses.
  [[nodiscard]] virtual SCNetworkReachabilityRef createWithAddress(const NetworkAddress& address) = 0;

  /// Whether `name`, in UTF-8, can be resolved, and the way to what it resolves to. Names are resolved in the
  /// background, again when the network changes, and for as long as they cannot be resolved. Null when `name`
  /// cannot be one or the system refuses.
  [[nodiscard]] virtual SCNetworkReachabilityRef createWithName(std::string_view name) = 0;

  /// The machine's own network. Created on first use, never destroyed.
  [[nodiscard]] static const std::shared_ptr<SCNetworkReachabilityProvider>& shared();
};

}  // namespace tq
