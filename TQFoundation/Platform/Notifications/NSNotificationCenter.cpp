#include "TQFoundation/Platform/Notifications/NSNotificationCenter.h"

#include <atomic>
#include <cstdint>
#include <iterator>
#include <list>
#include <unordered_map>
#include <utility>
#include <vector>

#include "TQFoundation/Platform/Base/Mutex.h"
#include "TQFoundation/Platform/Base/NeverDestroyed.h"

namespace tq {
namespace {

using Name = std::optional<NSNotification::Name>;
using Object = std::shared_ptr<const void>;

// The weak pointer distinguishes the object from a later one at its address.
class ObjectFilter {
 public:
  explicit ObjectFilter(const Object& object)
      : address_(object.get()), object_(object), owned_(object.use_count() > 0) {}

  [[nodiscard]] bool isFor(const void* address) const noexcept {
    return address == address_ && !(owned_ && object_.expired());
  }
  [[nodiscard]] bool admits(const void* address) const noexcept {
    return address_ == nullptr || isFor(address);
  }

 private:
  const void* address_;
  std::weak_ptr<const void> object_;
  bool owned_;
};

struct Registration {
  Registration(NSNotificationCenter::Handler theHandler, const Object& theObject, std::uint64_t theTurn)
      : handler(std::move(theHandler)), object(theObject), turn(theTurn) {}

  void receive(const NSNotification& notification) const {
    if (!removed.load(std::memory_order_acquire) && object.admits(notification.object().get()))
      handler(notification);
  }

  const NSNotificationCenter::Handler handler;
  const ObjectFilter object;
  const std::uint64_t turn;  // in the order of all registrations of the center
  std::atomic<bool> removed = false;
};

using Registrations = std::vector<std::shared_ptr<Registration>>;

// The observers of one name, or of any. Invariant: `snapshot` is null or equals `registrations`, and is never
// changed, so that posts read it without the lock. The first post after a change makes it anew; that post
// visits every registration anyway, so a row of changes costs no more than itself.
struct Topic {
  Name name;
  std::list<std::shared_ptr<Registration>> registrations;
  std::shared_ptr<const Registrations> snapshot;

  [[nodiscard]] std::shared_ptr<const Registrations> current() {
    if (!snapshot && !registrations.empty())
      snapshot = std::make_shared<const Registrations>(registrations.begin(), registrations.end());
    return snapshot;
  }
};

struct Place {
  Topic* topic;
  std::list<std::shared_ptr<Registration>>::iterator registration;

  [[nodiscard]] bool isMeantBy(const Name& name, const Object& object) const {
    return (!name || topic->name == name) && (!object || (*registration)->object.isFor(object.get()));
  }
};

// Merges both lists by `turn`. Uses nothing but its arguments, since a handler may have released the center.
// A throwing handler ends the program here.
void deliver(const NSNotification& notification, const Registrations* named,
             const Registrations* any) noexcept {
  static const NeverDestroyed<Registrations> kNone;
  const Registrations& first = named != nullptr ? *named : *kNone;
  const Registrations& second = any != nullptr ? *any : *kNone;
  auto one = first.begin();
  auto other = second.begin();
  while (one != first.end() || other != second.end()) {
    const bool onesTurn = other == second.end() || (one != first.end() && (*one)->turn < (*other)->turn);
    (onesTurn ? *one++ : *other++)->receive(notification);
  }
}

}  // namespace

struct NSNotificationCenter::Registry {
  using Places = std::unordered_multimap<const void*, Place>;

  [[nodiscard]] Topic* find(const NSNotification::Name& name) TQ_REQUIRES(mutex) {
    const auto found = named.find(name);
    return found != named.end() ? &found->second : nullptr;
  }

  [[nodiscard]] Topic& findOrMake(const Name& name) TQ_REQUIRES(mutex) {
    if (!name) return any;
    const auto [found, made] = named.try_emplace(*name);
    if (made) found->second.name = name;
    return found->second;
  }

  // The registration goes to `gone`, for its handler to be destroyed without the lock.
  Places::iterator remove(Places::iterator at, Registrations& gone) TQ_REQUIRES(mutex) {
    const auto [topic, registration] = at->second;
    (*registration)->removed.store(true, std::memory_order_release);
    gone.push_back(std::move(*registration));
    topic->registrations.erase(registration);
    topic->snapshot = nullptr;
    if (topic->name && topic->registrations.empty()) named.erase(named.find(*topic->name));
    return places.erase(at);
  }

  // Invariant: each entry of `places` leads to a registration in a topic, and each registration has one
  // entry; topics in `named` have registrations. No handler runs, and none is destroyed, under the lock.
  Mutex mutex;
  std::unordered_map<NSNotification::Name, Topic> named TQ_GUARDED_BY(mutex);
  Topic any TQ_GUARDED_BY(mutex);
  Places places TQ_GUARDED_BY(mutex);  // by observer
  std::uint64_t turns TQ_GUARDED_BY(mutex) = 0;
};

NSNotificationCenter::NSNotificationCenter() : registry_(std::make_unique<Registry>()) {}

NSNotificationCenter::~NSNotificationCenter() {
  Registrations
      gone;  // destroyed after the lock is released, while there still is a registry that they may ask
  const MutexLock lock(registry_->mutex);
  for (auto at = registry_->places.begin(); at != registry_->places.end();) at = registry_->remove(at, gone);
}

const std::shared_ptr<NSNotificationCenter>& NSNotificationCenter::defaultCenter() {
  static const NeverDestroyed<std::shared_ptr<NSNotificationCenter>> center(
      std::make_shared<NSNotificationCenter>());
  return *center;
}

void NSNotificationCenter::addObserver(const void* observer, Handler handler, const Name& name,
                                       const std::shared_ptr<const void>& object) {
  if (!handler) return;
  const MutexLock lock(registry_->mutex);
  Topic& topic = registry_->findOrMake(name);
  topic.registrations.push_back(
      std::make_shared<Registration>(std::move(handler), object, registry_->turns++));
  topic.snapshot = nullptr;
  registry_->places.emplace(observer, Place{&topic, std::prev(topic.registrations.end())});
}

void NSNotificationCenter::removeObserver(const void* observer, const Name& name,
                                          const std::shared_ptr<const void>& object) {
  Registrations gone;  // destroyed after the lock is released
  const MutexLock lock(registry_->mutex);
  auto [at, end] = registry_->places.equal_range(observer);
  while (at != end) at = at->second.isMeantBy(name, object) ? registry_->remove(at, gone) : std::next(at);
}

void NSNotificationCenter::postNotificationName(NSNotification::Name name, NSNotification::Object object,
                                                NSNotification::UserInfo userInfo) {
  post(NSNotification(std::move(name), std::move(object), std::move(userInfo)));
}

void NSNotificationCenter::post(const NSNotification& notification) {
  std::shared_ptr<const Registrations> named;
  std::shared_ptr<const Registrations> any;
  {
    const MutexLock lock(registry_->mutex);
    if (Topic* const topic = registry_->find(notification.name())) named = topic->current();
    any = registry_->any.current();
  }
  deliver(notification, named.get(), any.get());
}

}  // namespace tq
