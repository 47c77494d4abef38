#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Notifications/NSNotification.h"

namespace tq {

/// Delivers notifications by name to their observers. Posters and observers need not know each other.
///
///     const auto& center = NSNotificationCenter::defaultCenter();
///     center->addObserver(this, [screen = weak_from_this()](const NSNotification& added) {
///       if (const auto alive = screen.lock()) alive->insert(added.object<Clip>());
///     }, kClipAdded);
///
///     center->postNotificationName(kClipAdded, clip);   // every observer was called when this returns
///     center->removeObserver(this);                     // in the observer's destructor at the latest
///
/// A post calls the handlers of those who observe its name, its object, both or everything, one after the
/// other on the caller's thread, in the order in which they were added. It reaches the observers that were
/// there when it began: one that is added meanwhile receives the next post, also one that a handler makes.
/// Two posts from two threads are delivered side by side, so a handler may run on both at once.
///
/// Thread-safe. No lock is held while a handler runs; it may call back in, and may release this
/// object; the observers that remain are then not called. A handler must not throw: the program would end.
///
/// What removal promises depends on where the posts come from:
/// - Posts of the removing thread, the one under way and those around it included, call the observer no more
///   once `removeObserver` has returned. A handler that removes its own observer runs to its end.
/// - On other threads no call begins after the removal, and nothing waits for one that has begun: it may run
///   on after `removeObserver` has returned. An observer that is posted to from other threads has to be safe
///   against that, as above, where the handler holds it weakly.
///
/// The center keeps a handler, and all that it captures, until it is removed; posts under way keep it until
/// they end. It is destroyed with no lock held. An observer that its own handler owns lives until
/// then.
class TQ_API NSNotificationCenter {
 public:
  using Handler = std::function<void(const NSNotification& notification)>;

  /// A center of one's own, for a part of a program or a test.
  NSNotificationCenter();
  /// Removes every observer.
  ~NSNotificationCenter();
  NSNotificationCenter(const NSNotificationCenter&) = delete;
  NSNotificationCenter& operator=(const NSNotificationCenter&) = delete;

  /// The one that the process shares. Made on first use, never destroyed.
  [[nodiscard]] static const std::shared_ptr<NSNotificationCenter>& defaultCenter();

  /// Has `handler` called for posts of `name` about `object`; without a name for posts of any name, without
  /// an object for posts about any and about none. An empty handler adds nothing.
  ///
  /// `observer` identifies what to remove later: any address, never dereferenced. An observer that is added
  /// twice is called twice.
  ///
  /// `object` is not kept alive. Posts are compared with its address for as long as it lives; a later object
  /// at the same address does not match. A pointer that owns nothing matches its address for ever.
  void addObserver(const void* observer, Handler handler,
                   const std::optional<NSNotification::Name>& name = std::nullopt,
                   const std::shared_ptr<const void>& object = nullptr);

  /// Removes what `observer` was added for: everything, or with a name what it was added for with that
  /// very name, or with an object with that object, or with both with both. What was added for any name stays
  /// when a name is given, and what was added for any object when an object is. Does nothing when there is
  /// none.
  void removeObserver(const void* observer, const std::optional<NSNotification::Name>& name = std::nullopt,
                      const std::shared_ptr<const void>& object = nullptr);

  /// Posts a notification made of these; `object` lives until the last handler has returned.
  void postNotificationName(NSNotification::Name name, NSNotification::Object object = nullptr,
                            NSNotification::UserInfo userInfo = {});

  /// Posts `notification`, which has to outlive the call.
  void post(const NSNotification& notification);

 private:
  struct Registry;

  const std::unique_ptr<Registry> registry_;
};

}  // namespace tq
