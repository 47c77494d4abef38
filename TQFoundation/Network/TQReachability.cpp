#include "TQFoundation/Network/TQReachability.h"

#include <utility>

#include "TQFoundation/Extensions/TQNotificationNames.h"
#include "TQFoundation/Extensions/TQPremitiveExtensions.h"

namespace tq {
namespace {

TQReachability::Handler copied(const Guarded<std::shared_ptr<const TQReachability::Handler>>& guarded) {
  const auto handler = guarded.get();
  return handler ? *handler : nullptr;
}

std::shared_ptr<const TQReachability::Handler> kept(TQReachability::Handler handler) {
  return std::make_shared<const TQReachability::Handler>(std::move(handler));
}

}  // namespace

std::string ReachabilityError::localizedDescription() const {
  if (const auto* const host = std::get_if<FailedToCreateWithHostname>(&reason))
    return "the system cannot watch the way to " + host->hostname;
  if (std::holds_alternative<FailedToCreateWithAddress>(reason))
    return "the system cannot watch the way to this address";
  if (std::holds_alternative<UnableToSetCallback>(reason))
    return "the system refuses to call back when the network changes";
  return "the system refuses to call back on a queue when the network changes";
}

std::shared_ptr<TQReachability> TQReachability::make(TQReachabilityPorts ports) {
  auto reference = ports.network->createWithAddress(NetworkAddress{});
  return reference ? make(std::move(reference), false, std::move(ports)) : nullptr;
}

std::shared_ptr<TQReachability> TQReachability::make(std::string_view hostname, TQReachabilityPorts ports) {
  auto reference = ports.network->createWithName(hostname);
  return reference ? make(std::move(reference), true, std::move(ports)) : nullptr;
}

std::shared_ptr<TQReachability> TQReachability::make(SCNetworkReachabilityRef reachabilityRef,
                                                     bool usingHostname, TQReachabilityPorts ports) {
  return std::shared_ptr<TQReachability>(
      new TQReachability(std::move(reachabilityRef), usingHostname, std::move(ports)));
}

TQReachability::TQReachability(SCNetworkReachabilityRef reachabilityRef, bool usingHostname,
                               TQReachabilityPorts ports)
    : reachabilityRef_(std::move(reachabilityRef)),
      usingHostname_(usingHostname),
      isRunningOnDevice_(ports.isRunningOnDevice),
      mainQueue_(std::move(ports.mainQueue)),
      reachabilitySerialQueue_(DispatchQueue::serial()),
      notificationCenter_(NSNotificationCenter::defaultCenter()) {}

TQReachability::~TQReachability() {
  unregister();
}

TQReachability::Handler TQReachability::whenReachable() const {
  return copied(whenReachable_);
}

void TQReachability::setWhenReachable(Handler handler) {
  whenReachable_.set(kept(std::move(handler)));
}

TQReachability::Handler TQReachability::whenUnreachable() const {
  return copied(whenUnreachable_);
}

void TQReachability::setWhenUnreachable(Handler handler) {
  whenUnreachable_.set(kept(std::move(handler)));
}

std::shared_ptr<NSNotificationCenter> TQReachability::notificationCenter() const {
  return notificationCenter_.get();
}

void TQReachability::setNotificationCenter(std::shared_ptr<NSNotificationCenter> center) {
  notificationCenter_.set(std::move(center));
}

TQReachability::Connection TQReachability::connection() const {
  if (!has(kSCNetworkReachabilityFlagsReachable)) return Connection::none;
  if (!isRunningOnDevice_) return Connection::wifi;
  auto result = has(kSCNetworkReachabilityFlagsConnectionRequired) ? Connection::none : Connection::wifi;
  const bool madeWhenNeeded =
      has(kSCNetworkReachabilityFlagsConnectionOnTraffic | kSCNetworkReachabilityFlagsConnectionOnDemand);
  if (madeWhenNeeded && !has(kSCNetworkReachabilityFlagsInterventionRequired)) result = Connection::wifi;
  if (has(kSCNetworkReachabilityFlagsIsWWAN))
    return allowsCellularConnection() ? Connection::cellular : Connection::none;
  return result;
}

std::string TQReachability::currentReachabilityString() const {
  return std::string(tq::description(connection()));
}

bool TQReachability::isReachable() const {
  if (!has(kSCNetworkReachabilityFlagsReachable)) return false;
  constexpr Flags kNotYetMade =
      kSCNetworkReachabilityFlagsConnectionRequired | kSCNetworkReachabilityFlagsTransientConnection;
  return (flags() & kNotYetMade) != kNotYetMade;
}

bool TQReachability::isReachableViaWWAN() const {
  constexpr Flags kCellular = kSCNetworkReachabilityFlagsReachable | kSCNetworkReachabilityFlagsIsWWAN;
  return isRunningOnDevice_ && (flags() & kCellular) == kCellular;
}

bool TQReachability::isReachableViaWiFi() const {
  if (!has(kSCNetworkReachabilityFlagsReachable)) return false;
  return !isRunningOnDevice_ || !has(kSCNetworkReachabilityFlagsIsWWAN);
}

std::string TQReachability::description() const {
  const auto shown = [this](Flags flag, char character) { return has(flag) ? character : '-'; };
  return {isRunningOnDevice_ ? shown(kSCNetworkReachabilityFlagsIsWWAN, 'W') : 'X',
          shown(kSCNetworkReachabilityFlagsReachable, 'R'),
          ' ',
          shown(kSCNetworkReachabilityFlagsConnectionRequired, 'c'),
          shown(kSCNetworkReachabilityFlagsTransientConnection, 't'),
          shown(kSCNetworkReachabilityFlagsInterventionRequired, 'i'),
          shown(kSCNetworkReachabilityFlagsConnectionOnTraffic, 'C'),
          shown(kSCNetworkReachabilityFlagsConnectionOnDemand, 'D'),
          shown(kSCNetworkReachabilityFlagsIsLocalAddress, 'l'),
          shown(kSCNetworkReachabilityFlagsIsDirect, 'd')};
}

// Both run on the serial queue: one at a time without a lock under which the port would be called, and never
// in the middle of `reachabilityChanged`.
std::optional<ReachabilityError> TQReachability::startNotifier() {
  std::optional<ReachabilityError> error;
  reachabilitySerialQueue_->sync([&] { error = registerCallback(); });
  return error;
}

void TQReachability::stopNotifier() {
  reachabilitySerialQueue_->sync([this] { unregister(); });
}

std::optional<ReachabilityError> TQReachability::registerCallback() {
  if (notifierRunning_) return std::nullopt;
  const SCNetworkReachabilityContext context{.info = weak_from_this()};
  if (!reachabilityRef_->setCallback(&TQReachability::callback, &context)) {
    unregister();
    return ReachabilityError{ReachabilityError::UnableToSetCallback{}};
  }
  if (!reachabilityRef_->setDispatchQueue(reachabilitySerialQueue_)) {
    unregister();
    return ReachabilityError{ReachabilityError::UnableToSetDispatchQueue{}};
  }
  reachabilitySerialQueue_->async([self = shared_from_this()] { self->reachabilityChanged(); });
  notifierRunning_ = true;
  return std::nullopt;
}

void TQReachability::unregister() {
  static_cast<void>(reachabilityRef_->setCallback(nullptr, nullptr));
  static_cast<void>(reachabilityRef_->setDispatchQueue(nullptr));
  notifierRunning_ = false;
}

void TQReachability::callback(const SCNetworkReachabilityRef&, Flags, void* info) {
  if (info != nullptr) static_cast<TQReachability*>(info)->reachabilityChanged();
}

// The reads agree: on this queue the flags change only between the port's calls, and each change has one.
void TQReachability::reachabilityChanged() {
  if (previousFlags_ == flags()) return;
  Handler chosen = connection() == Connection::none ? whenUnreachable() : whenReachable();
  mainQueue_->async([self = shared_from_this(), chosen = std::move(chosen)] { self->report(chosen); });
  previousFlags_ = flags();
}

void TQReachability::report(const Handler& chosen) {
  if (usingHostname_) TQLogger::debug("USING HOSTNAME ABOUT TO CALL BLOCK");
  if (chosen) chosen(*this);
  if (const auto center = notificationCenter())
    center->postNotificationName(tq::NotificationName::reachabilityChanged, shared_from_this());
}

std::string_view description(TQReachability::Connection connection) {
  switch (connection) {
    case TQReachability::Connection::wifi:
      return "WiFi";
    case TQReachability::Connection::cellular:
      return "Cellular";
    case TQReachability::Connection::none:
      break;
  }
  return "No Connection";
}

std::string_view description(TQReachability::NetworkStatus status) {
  return description(static_cast<TQReachability::Connection>(status));
}

}  // namespace tq
