#include "TQFoundation/Network/TQNetworkObserver.h"

#include <mutex>
#include <utility>
#include <vector>

namespace tq {
namespace {

// An observer and its handlers hold each other for ever: this is where the process holds them, too.
void keepForEver(std::shared_ptr<TQNetworkObserver> observer) {
  static auto& mutex = *new std::mutex;
  static auto& observers = *new std::vector<std::shared_ptr<TQNetworkObserver>>;
  const std::scoped_lock lock(mutex);
  observers.push_back(std::move(observer));
}

}  // namespace

std::shared_ptr<TQNetworkObserver> TQNetworkObserver::initWithDelegate(
    std::weak_ptr<TQNetworkObserverDelegate> delegate, const TQReachabilityPorts& ports) {
  std::shared_ptr<TQNetworkObserver> observer(new TQNetworkObserver(std::move(delegate), ports));
  observer->startObserving();
  return observer;
}

TQNetworkObserver::TQNetworkObserver(std::weak_ptr<TQNetworkObserverDelegate> delegate,
                                     const TQReachabilityPorts& ports)
    : delegate_(std::move(delegate)), reachability_(TQReachability::make(ports)) {}

TQNetworkObserver::~TQNetworkObserver() {
  if (reachability_) reachability_->stopNotifier();
}

bool TQNetworkObserver::isReachable() const {
  return reachability_ && reachability_->connection() != TQReachability::Connection::none;
}

bool TQNetworkObserver::isNetworkReachable() const {
  return isReachable();
}

void TQNetworkObserver::startObserving() {
  if (!reachability_) return;
  keepForEver(shared_from_this());
  reachability_->setWhenReachable([self = shared_from_this()](TQReachability& reachability) {
    if (reachability.connection() != TQReachability::Connection::none) self->tell(true);
  });
  reachability_->setWhenUnreachable([self = shared_from_this()](TQReachability&) { self->tell(false); });
  static_cast<void>(reachability_->startNotifier());
}

void TQNetworkObserver::tell(bool status) const {
  if (const auto delegate = delegate_.get()) delegate->networkStatusUpdatedWithStatus(status);
}

}  // namespace tq
