#pragma once

#include <memory>

#include "TQFoundation/Network/TQReachability.h"
#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/Guarded.h"

namespace tq {

/// Hears whether the network can be used. The calls come on the main queue.
class TQ_API TQNetworkObserverDelegate {
 public:
  virtual ~TQNetworkObserverDelegate() = default;

  /// The network can be used now, or it cannot. Once soon after the observer is made, and again at each
  /// change, also where the answer stays the same (WiFi to cellular).
  virtual void networkStatusUpdatedWithStatus(bool status) = 0;
};

/// Tells a delegate whenever the network becomes usable or unusable, from its making on.
///
///     auto observer = TQNetworkObserver::initWithDelegate(screen);
///     if (!observer->isNetworkReachable()) showOffline();
///
/// It never stops: once made it lives as long as the process, whether or not its maker keeps it, and reports
/// for as long as the delegate, which it does not hold, exists. Where the system does not tell of the network
/// at all no report comes and the answer is no.
///
/// Thread-safe. The delegate is called on the main queue, never inside the call that made the
/// observer.
class TQ_API TQNetworkObserver : public std::enable_shared_from_this<TQNetworkObserver> {
 public:
  [[nodiscard]] static std::shared_ptr<TQNetworkObserver> initWithDelegate(
      std::weak_ptr<TQNetworkObserverDelegate> delegate, const TQReachabilityPorts& ports = {});

  virtual ~TQNetworkObserver();
  TQNetworkObserver(const TQNetworkObserver&) = delete;
  TQNetworkObserver& operator=(const TQNetworkObserver&) = delete;

  /// Whether there is a connection, WiFi or cellular, at this moment; both answer the same.
  [[nodiscard]] virtual bool isReachable() const;
  [[nodiscard]] virtual bool isNetworkReachable() const;

 protected:
  TQNetworkObserver(std::weak_ptr<TQNetworkObserverDelegate> delegate, const TQReachabilityPorts& ports);

 private:
  virtual void startObserving();
  void tell(bool status) const;

  const WeakDelegate<TQNetworkObserverDelegate> delegate_;
  const std::shared_ptr<TQReachability> reachability_;
};

}  // namespace tq
