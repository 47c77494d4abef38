#include "TQFoundationTesting/FakeReachability.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "TQFoundation/Platform/Ports/ReachabilityRegistration.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"

namespace tq {

struct FakeReachability::State {
  mutable std::mutex mutex;
  std::optional<Flags> flags;
  Refusals refusals;
  std::atomic<int> reads = 0;

  [[nodiscard]] std::optional<Flags> now() const {
    const std::scoped_lock lock(mutex);
    return flags;
  }
  [[nodiscard]] Refusals refused() const {
    const std::scoped_lock lock(mutex);
    return refusals;
  }
};

class FakeReachability::Target final : public SCNetworkReachability,
                                       public std::enable_shared_from_this<Target> {
 public:
  explicit Target(std::shared_ptr<State> state) : state_(std::move(state)) {}

  std::optional<Flags> getFlags() override {
    ++state_->reads;
    return state_->now();
  }

  bool setCallback(SCNetworkReachabilityCallBack callback,
                   const SCNetworkReachabilityContext* context) override {
    if (callback != nullptr && state_->refused().callbacks) return false;
    auto registration = ReachabilityRegistration::make(callback, context);
    const std::scoped_lock lock(mutex_);
    registration_.swap(registration);
    return true;
  }

  bool setDispatchQueue(std::shared_ptr<DispatchQueue> queue) override {
    if (queue != nullptr && state_->refused().queues) return false;
    const std::scoped_lock lock(mutex_);
    queue_ = std::move(queue);
    return true;
  }

  void callBack() {
    const auto on = queue();
    if (!on) return;
    on->async([self = shared_from_this()] {
      if (const auto registration = self->registration())
        registration->call(self, self->state_->now().value_or(0));
    });
  }

  std::shared_ptr<DispatchQueue> queue() const {
    const std::scoped_lock lock(mutex_);
    return queue_;
  }

  bool isRegistered() const { return queue() != nullptr || registration() != nullptr; }

 private:
  std::shared_ptr<const ReachabilityRegistration> registration() const {
    const std::scoped_lock lock(mutex_);
    return registration_;
  }

  const std::shared_ptr<State> state_;
  mutable std::mutex mutex_;
  std::shared_ptr<const ReachabilityRegistration> registration_;
  std::shared_ptr<DispatchQueue> queue_;
};

FakeReachability::FakeReachability(std::optional<Flags> flags) : state_(std::make_shared<State>()) {
  state_->flags = flags;
}

FakeReachability::~FakeReachability() = default;

void FakeReachability::set(std::optional<Flags> flags) {
  {
    const std::scoped_lock lock(state_->mutex);
    if (std::exchange(state_->flags, flags) == flags) return;
  }
  callBackAnyway();
}

void FakeReachability::callBackAnyway() {
  for (const auto& target : targets()) target->callBack();
}

void FakeReachability::refuse(Refusals refusals) {
  const std::scoped_lock lock(state_->mutex);
  state_->refusals = refusals;
}

void FakeReachability::waitForCallbacks() {
  for (const auto& target : targets())
    if (const auto queue = target->queue()) queue->sync([] {});
}

int FakeReachability::registrations() const {
  const auto all = targets();
  return static_cast<int>(
      std::count_if(all.begin(), all.end(), [](const auto& target) { return target->isRegistered(); }));
}

int FakeReachability::reads() const {
  return state_->reads;
}

SCNetworkReachabilityRef FakeReachability::createWithAddress(const NetworkAddress&) {
  return create();
}

SCNetworkReachabilityRef FakeReachability::createWithName(std::string_view name) {
  return name.empty() ? nullptr : create();
}

SCNetworkReachabilityRef FakeReachability::create() {
  if (state_->refused().references) return nullptr;
  auto target = std::make_shared<Target>(state_);
  const std::scoped_lock lock(mutex_);
  std::erase_if(targets_, [](const auto& gone) { return gone.expired(); });
  targets_.push_back(target);
  return target;
}

std::vector<std::shared_ptr<FakeReachability::Target>> FakeReachability::targets() const {
  const std::scoped_lock lock(mutex_);
  std::vector<std::shared_ptr<Target>> alive;
  for (const auto& target : targets_)
    if (auto held = target.lock()) alive.push_back(std::move(held));
  return alive;
}

}  // namespace tq
