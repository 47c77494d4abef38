#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/Guarded.h"
#include "TQFoundation/Platform/Notifications/NSNotification.h"
#include "TQFoundation/Platform/Notifications/NSNotificationCenter.h"
#include "TQFoundation/Platform/Ports/SCNetworkReachability.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"
#include "TQFoundation/Platform/Queues/LoopQueue.h"

namespace tq {

/// Published for callers; the library posts `NotificationName::reachabilityChanged` instead.
inline constexpr NSNotification::Name ReachabilityChangedNotification{"ReachabilityChangedNotification"};

/// Why a target cannot be watched.
///
///     if (const auto error = reachability->startNotifier()) say(error->localizedDescription());
struct TQ_API ReachabilityError {
  struct FailedToCreateWithAddress {
    NetworkAddress address;
    friend bool operator==(const FailedToCreateWithAddress&, const FailedToCreateWithAddress&) = default;
  };
  struct FailedToCreateWithHostname {
    std::string hostname;
    friend bool operator==(const FailedToCreateWithHostname&, const FailedToCreateWithHostname&) = default;
  };
  struct UnableToSetCallback {
    friend bool operator==(const UnableToSetCallback&, const UnableToSetCallback&) = default;
  };
  struct UnableToSetDispatchQueue {
    friend bool operator==(const UnableToSetDispatchQueue&, const UnableToSetDispatchQueue&) = default;
  };

  /// The library itself creates only the last two: where a target cannot be created there is no object.
  std::variant<FailedToCreateWithAddress, FailedToCreateWithHostname, UnableToSetCallback,
               UnableToSetDispatchQueue>
      reason;

  /// A sentence for people.
  [[nodiscard]] std::string localizedDescription() const;

  friend bool operator==(const ReachabilityError&, const ReachabilityError&) = default;
};

/// The ports of a `TQReachability`.
struct TQReachabilityPorts {
  std::shared_ptr<SCNetworkReachabilityProvider> network = SCNetworkReachabilityProvider::shared();
  std::shared_ptr<DispatchQueue> mainQueue = DispatchQueue::main();
  bool isRunningOnDevice = true;  ///< False: whatever is reachable counts as WiFi.
};

/// Over which kind of link the network, or one host, can be reached, and when that changes.
///
///     auto reachability = TQReachability::make("media.example.com");
///     if (!reachability) return;                                     // the system refuses to watch it
///     reachability->setWhenReachable([](TQReachability& now) { show(now.connection()); });
///     reachability->setWhenUnreachable([](TQReachability&) { showOffline(); });
///     if (const auto error = reachability->startNotifier()) say(error->localizedDescription());
///
/// The first report follows every first start, whether or not anything changes; from then on one follows each
/// change of the flags, also one that leaves the connection as it was. A report is, on the main queue: the
/// handler that fitted when the change was seen, then the notification `reachabilityChanged` with this
/// object.
///
/// Reachable means that packets would leave, not that a server responds.
///
/// Thread-safe. The queries read the system's flags anew each time, once for each condition, and keep
/// nothing. No lock is held while a handler runs; it may call back in, and may release this object. The last
/// owner may release it on any thread; reports that are already on their way keep the object until they have
/// run. A handler that holds the object keeps it alive: take it from the argument instead.
class TQ_API TQReachability : public std::enable_shared_from_this<TQReachability> {
 public:
  enum class Connection { none, wifi, cellular };

  /// A second vocabulary for the same three; no operation of the library speaks it.
  enum class NetworkStatus { notReachable, reachableViaWiFi, reachableViaWWAN };

  using Handler = std::function<void(TQReachability&)>;

  /// Watches the network as a whole (the all-zero IPv4 address), or the named host. Null when the system
  /// gives no reference.
  [[nodiscard]] static std::shared_ptr<TQReachability> make(TQReachabilityPorts ports = {});
  [[nodiscard]] static std::shared_ptr<TQReachability> make(std::string_view hostname,
                                                            TQReachabilityPorts ports = {});

  /// Watches the target behind `reachabilityRef`, which must not be null; `ports.network` is not asked.
  [[nodiscard]] static std::shared_ptr<TQReachability> make(SCNetworkReachabilityRef reachabilityRef,
                                                            bool usingHostname,
                                                            TQReachabilityPorts ports = {});

  virtual ~TQReachability();
  TQReachability(const TQReachability&) = delete;
  TQReachability& operator=(const TQReachability&) = delete;

  /// Called by reports: the first after a change that leaves a connection, the second after one that leaves
  /// none. An empty one is not called. May be set while the notifier runs: each report uses an old or a new
  /// one.
  [[nodiscard]] virtual Handler whenReachable() const;
  virtual void setWhenReachable(Handler handler);
  [[nodiscard]] virtual Handler whenUnreachable() const;
  virtual void setWhenUnreachable(Handler handler);

  /// Whether a cellular link counts as a connection, in `connection` alone; at first it does.
  [[nodiscard]] virtual bool allowsCellularConnection() const { return allowsCellularConnection_; }
  virtual void setAllowsCellularConnection(bool allowed) { allowsCellularConnection_ = allowed; }

  /// Where changes are posted, at first the process's default center; null posts nowhere.
  [[nodiscard]] virtual std::shared_ptr<NSNotificationCenter> notificationCenter() const;
  virtual void setNotificationCenter(std::shared_ptr<NSNotificationCenter> center);

  /// Over which kind of link the target can be reached now, with `allowsCellularConnection` in mind.
  [[nodiscard]] virtual Connection connection() const;

  /// The same as `connection`, and its text: "No Connection", "WiFi" or "Cellular".
  [[nodiscard]] virtual Connection currentReachabilityStatus() const { return connection(); }
  [[nodiscard]] virtual std::string currentReachabilityString() const;

  /// Whether there is a way at all that needs no transient connection to be made first.
  [[nodiscard]] bool isReachable() const;
  /// Whether that way is, or is not, a cellular link.
  [[nodiscard]] bool isReachableViaWWAN() const;
  [[nodiscard]] bool isReachableViaWiFi() const;

  /// Always true: a cellular link counts in `isReachable`.
  [[nodiscard]] bool reachableOnWWAN() const { return true; }

  /// The flags as ten characters for a log, such as "WR ct-----". From the left: W cellular (X off a device),
  /// R reachable, a space, c connection required, t transient, i intervention required, C on traffic, D on
  /// demand, l local address, d direct; "-" for each that is not set.
  [[nodiscard]] std::string description() const;

  /// Begins to report; does nothing when it has begun already. Returns nullopt on success.
  [[nodiscard]] std::optional<ReachabilityError> startNotifier();

  /// Ends reporting. Reports that are already queued on the main queue still arrive. The next start reports
  /// only if the flags differ from those reported last.
  void stopNotifier();

 protected:
  TQReachability(SCNetworkReachabilityRef reachabilityRef, bool usingHostname, TQReachabilityPorts ports);

 private:
  using Flags = SCNetworkReachabilityFlags;

  static void callback(const SCNetworkReachabilityRef& reachability, Flags flags, void* info);
  [[nodiscard]] Flags flags() const { return reachabilityRef_->getFlags().value_or(0); }
  [[nodiscard]] bool has(Flags flag) const { return (flags() & flag) != 0; }
  [[nodiscard]] std::optional<ReachabilityError> registerCallback();
  void unregister();
  void reachabilityChanged();
  void report(const Handler& chosen);

  const SCNetworkReachabilityRef reachabilityRef_;
  const bool usingHostname_;
  const bool isRunningOnDevice_;
  const std::shared_ptr<DispatchQueue> mainQueue_;
  const std::shared_ptr<DispatchQueue> reachabilitySerialQueue_;

  Guarded<std::shared_ptr<const Handler>> whenReachable_;
  Guarded<std::shared_ptr<const Handler>> whenUnreachable_;
  Guarded<std::shared_ptr<NSNotificationCenter>> notificationCenter_;
  std::atomic<bool> allowsCellularConnection_ = true;

  // Used on the serial queue only, and by the destructor.
  bool notifierRunning_ = false;
  std::optional<Flags> previousFlags_;
};

/// "No Connection", "WiFi" or "Cellular".
[[nodiscard]] TQ_API std::string_view description(TQReachability::Connection connection);
[[nodiscard]] TQ_API std::string_view description(TQReachability::NetworkStatus status);

}  // namespace tq
