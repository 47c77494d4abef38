#pragma once

#include <memory>
#include <utility>

#include "TQFoundation/Network/TQReachability.h"
#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/Guarded.h"

namespace tq {

/// Receives whether the network can be used. The calls come on the main queue.
class TQ_API TQNetworkObserverDelegate {
 public:
  virtual ~TQNetworkObserverDelegate() = default;

  /// The network can be used now, or it cannot. Called once soon after the observer is made, and again at
  /// each change, also where `status` stays the same (WiFi to cellular).
  virtual void networkStatusUpdatedWithStatus(bool status) = 0;
};

/// Reports to a delegate whenever the network becomes usable or unusable, from its creation on.
///
///     auto observer = TQNetworkObserver::initWithDelegate(screen);
///     if (!observer->isNetworkReachable()) showOffline();
///
/// It never stops: once made it lives as long as the process, whether or not the caller keeps it, and reports
/// for as long as the delegate, which it does not own, exists. Where the system refuses to watch the network
/// no report comes, and the network counts as not reachable.
///
/// Thread-safe. The delegate is called on the main queue, never inside the call that made the observer.
class TQ_API TQNetworkObserver : public std::enable_shared_from_this<TQNetworkObserver> {
 public:
  /// Returns an observer that has been started. A subclass, made with the same arguments, is named in the
  /// call:
  ///
  ///     class LoggingObserver final : public TQNetworkObserver {
  ///       using TQNetworkObserver::TQNetworkObserver;
  ///     };
  ///     auto observer = TQNetworkObserver::initWithDelegate<LoggingObserver>(screen);
  template <class Observer = TQNetworkObserver>
  [[nodiscard]] static std::shared_ptr<Observer> initWithDelegate(
      std::weak_ptr<TQNetworkObserverDelegate> delegate, const TQReachabilityPorts& ports = {}) {
    std::shared_ptr<Observer> observer(new Observer(std::move(delegate), ports));
    static_cast<TQNetworkObserver&>(*observer).startObserving();
    return observer;
  }

  /// A temporary delegate would be gone at once, and never be called: it does not compile.
  template <class Observer = TQNetworkObserver, class T>
  static std::shared_ptr<Observer> initWithDelegate(std::shared_ptr<T>&& temporary,
                                                    const TQReachabilityPorts& ports = {}) = delete;

  virtual ~TQNetworkObserver();
  TQNetworkObserver(const TQNetworkObserver&) = delete;
  TQNetworkObserver& operator=(const TQNetworkObserver&) = delete;

  /// Whether there is a connection, WiFi or cellular, at this moment; both return the same.
  [[nodiscard]] virtual bool isReachable() const;
  [[nodiscard]] virtual bool isNetworkReachable() const;

 protected:
  TQNetworkObserver(std::weak_ptr<TQNetworkObserverDelegate> delegate, const TQReachabilityPorts& ports);

 private:
  virtual void startObserving();
  void report(bool status) const;

  const WeakDelegate<TQNetworkObserverDelegate> delegate_;
  const std::shared_ptr<TQReachability> reachability_;
};

}  // namespace tq
