#include "TQFoundationTesting/FakeReachability.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "TQFoundation/Platform/Adapters/Common/ReachabilityTarget.h"
#include "TQFoundation/Platform/Base/Guarded.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"

namespace tq {

struct FakeReachability::State {
  Guarded<std::optional<Flags>> flags;
  Guarded<Refusals> refusals;
  std::atomic<int> reads = 0;
};

class FakeReachability::Target final : public ReachabilityTarget {
 public:
  explicit Target(std::shared_ptr<State> state) : state_(std::move(state)) {}

  bool setCallback(SCNetworkReachabilityCallBack callback,
                   const SCNetworkReachabilityContext* context) override {
    if (callback != nullptr && state_->refusals.get().callbacks) return false;
    return ReachabilityTarget::setCallback(callback, context);
  }

  bool setDispatchQueue(std::shared_ptr<DispatchQueue> queue) override {
    if (queue != nullptr && state_->refusals.get().queues) return false;
    return ReachabilityTarget::setDispatchQueue(std::move(queue));
  }

  using ReachabilityTarget::callBackAnyway;
  using ReachabilityTarget::isRegistered;
  using ReachabilityTarget::queue;

 protected:
  std::optional<Flags> readFlags() override {
    ++state_->reads;
    return state_->flags.get();
  }

 private:
  const std::shared_ptr<State> state_;
};

FakeReachability::FakeReachability(std::optional<Flags> flags) : state_(std::make_shared<State>()) {
  state_->flags.set(flags);
}

FakeReachability::~FakeReachability() = default;

void FakeReachability::set(std::optional<Flags> flags) {
  state_->flags.set(flags);
  for (const auto& target : targets()) target->flagsMayHaveChanged();
}

void FakeReachability::callBackAnyway() {
  for (const auto& target : targets()) target->callBackAnyway();
}

void FakeReachability::refuse(Refusals refusals) {
  state_->refusals.set(refusals);
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
  if (state_->refusals.get().references) return nullptr;
  auto target = std::make_shared<Target>(state_);
  const MutexLock lock(mutex_);
  std::erase_if(targets_, [](const auto& gone) { return gone.expired(); });
  targets_.push_back(target);
  return target;
}

std::vector<std::shared_ptr<FakeReachability::Target>> FakeReachability::targets() const {
  const MutexLock lock(mutex_);
  std::vector<std::shared_ptr<Target>> alive;
  for (const auto& target : targets_)
    if (auto held = target.lock()) alive.push_back(std::move(held));
  return alive;
}

}  // namespace tq
