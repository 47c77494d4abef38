#include "TQFoundation/Extensions/SettingsNotifications.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace tq {
namespace {

using Day = std::chrono::duration<double, std::chrono::days::period>;

// No day is longer, not even one that a zone has twice.
constexpr std::chrono::hours kLongestWait{48};

bool speakAlike(const UserSettings& one, const UserSettings& other) {
  return one.languages == other.languages && one.dates == other.dates && one.numbers == other.numbers &&
         one.messages == other.messages;
}

}  // namespace

std::shared_ptr<SettingsNotifications> SettingsNotifications::make(SettingsNotificationsPorts ports) {
  std::shared_ptr<SettingsNotifications> made(new SettingsNotifications(std::move(ports)));
  made->subscription_ = made->ports_.settings->observe(made->ports_.queue, [weak = made->weak_from_this()] {
    if (const auto self = weak.lock()) self->look();
  });
  made->check();  // sets the timer, and sees what changed before the subscription
  return made;
}

SettingsNotifications::SettingsNotifications(SettingsNotificationsPorts ports)
    : ports_(std::move(ports)), seen_(ports_.settings->current()), day_(today()) {}

void SettingsNotifications::check() {
  ports_.queue->async([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->look();
  });
}

// The number of the day that wall clocks show.
std::int64_t SettingsNotifications::today() const {
  const Date shown = seen_->timeZone.wallClock(ports_.clock->now());
  return static_cast<std::int64_t>(std::floor(Day(shown.time_since_epoch()).count()));
}

void SettingsNotifications::look() {
  const auto before = std::exchange(seen_, ports_.settings->current());
  const std::int64_t dayBefore = std::exchange(day_, today());
  const bool isOtherDay = day_ != dayBefore;
  awaitNextDay();
  // Handlers may call back in or release this object: nothing of it is used once the first one runs.
  const auto center = ports_.center;
  const auto now = seen_;
  if (!speakAlike(*before, *now)) center->postNotificationName(NotificationName::localeDidChange);
  if (before->timeZone != now->timeZone) center->postNotificationName(NotificationName::timeZoneDidChange);
  if (isOtherDay) center->postNotificationName(NotificationName::dayDidChange);
}

void SettingsNotifications::awaitNextDay() {
  const Date now = ports_.clock->now();
  const Date nextDay{std::chrono::days(day_ + 1)};
  Date::duration wait = seen_->timeZone.firstMoment(nextDay) - now;
  // Where clocks were set back over midnight its first occurrence has passed; then they reach it by
  // themselves.
  if (wait <= Date::duration::zero()) wait = nextDay - seen_->timeZone.wallClock(now);
  wait = std::clamp<Date::duration>(wait, std::chrono::milliseconds(1), kLongestWait);
  const auto task = [weak = weak_from_this(), timer = ++timer_] {
    const auto self = weak.lock();
    if (self != nullptr && self->timer_ == timer) self->look();
  };
  ports_.queue->after(std::chrono::ceil<std::chrono::milliseconds>(wait), task);
}

}  // namespace tq
