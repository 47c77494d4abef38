#pragma once

#include <cstdint>
#include <memory>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Notifications/NSNotificationCenter.h"
#include "TQFoundation/Platform/Ports/Clock.h"
#include "TQFoundation/Platform/Ports/UserSettings.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"
#include "TQFoundation/Platform/Queues/LoopQueue.h"

namespace tq {

/// What `SettingsNotifications` posts, without an object.
namespace NotificationName {

/// The user's languages or locales have changed: texts are to be written again.
inline constexpr NSNotification::Name localeDidChange{"LocaleDidChange"};

/// The user's time zone has changed: dates are to be written again.
inline constexpr NSNotification::Name timeZoneDidChange{"TimeZoneDidChange"};

/// Another day has begun in the user's time zone, or the zone has another date: "today" means another day.
inline constexpr NSNotification::Name dayDidChange{"DayDidChange"};

}  // namespace NotificationName

/// What `SettingsNotifications` asks for.
struct SettingsNotificationsPorts {
  std::shared_ptr<UserSettingsSource> settings = UserSettingsSource::shared();
  std::shared_ptr<const Clock> clock = Clock::shared();
  std::shared_ptr<DispatchQueue> queue = DispatchQueue::main();
  std::shared_ptr<NSNotificationCenter> center = NSNotificationCenter::defaultCenter();
};

/// Posts changes of the user's locale and time zone, and of the day, to a notification center.
///
///     const auto notifications = SettingsNotifications::make();       // kept for as long as they are wanted
///     NSNotificationCenter::defaultCenter()->addObserver(
///         this, [](const NSNotification&) { reload(); }, NotificationName::dayDidChange);
///
/// All posts come on the ports' queue, a serial one, by default the main queue. When several things change at
/// once the locale comes first and the day last.
///
/// Nothing polls: the beginning of the next day is awaited by one timer, which is set anew when the zone
/// changes. Timers stand still while a device sleeps, and do not see a clock that is set: `check` looks at
/// once.
///
/// Thread-safe. Posts end when this object is released.
class TQ_API SettingsNotifications : public std::enable_shared_from_this<SettingsNotifications> {
 public:
  [[nodiscard]] static std::shared_ptr<SettingsNotifications> make(SettingsNotificationsPorts ports = {});

  /// Has the settings and the day looked at on the queue, for a host that has just become active again.
  void check();

 private:
  explicit SettingsNotifications(SettingsNotificationsPorts ports);
  void look();
  void awaitNextDay();
  [[nodiscard]] std::int64_t today() const;

  const SettingsNotificationsPorts ports_;
  Subscription subscription_;

  // On the queue only.
  std::shared_ptr<const UserSettings> seen_;
  std::int64_t day_;
  std::uint64_t timer_ = 0;  // the number of the latest timer; earlier ones do nothing
};

}  // namespace tq
