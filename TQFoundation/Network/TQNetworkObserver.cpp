#include "TQFoundation/Network/TQNetworkObserver.h"

#include <utility>
#include <vector>

#include "TQFoundation/Platform/Base/Mutex.h"
#include "TQFoundation/Platform/Base/NeverDestroyed.h"

namespace tq {
namespace {

// An observer and its handlers own each other for ever; the process owns them too, so that leak checkers see
// that this is meant.
void keepForEver(std::shared_ptr<TQNetworkObserver> observer) {
  static NeverDestroyed<Mutex> mutex;
  static NeverDestroyed<std::vector<std::shared_ptr<TQNetworkObserver>>> observers;
  const MutexLock lock(*mutex);
  observers->push_back(std::move(observer));
}

}  // namespace

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
    if (reachability.connection() != TQReachability::Connection::none) self->report(true);
  });
  reachability_->setWhenUnreachable([self = shared_from_this()](TQReachability&) { self->report(false); });
  static_cast<void>(reachability_->startNotifier());
}

void TQNetworkObserver::report(bool status) const {
  if (const auto delegate = delegate_.get()) delegate->networkStatusUpdatedWithStatus(status);
}

}  // namespace tq
