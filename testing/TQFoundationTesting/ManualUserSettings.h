#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "TQFoundation/Platform/Base/Guarded.h"
#include "TQFoundation/Platform/Ports/UserSettings.h"

namespace tq {

/// A user whose settings are what the test says.
///
///     ManualUserSettings user({.dates = Locale("da_DK"), .timeZone = *TimeZone::make("Asia/Tokyo")});
///     EXPECT_EQ(timeFormattedString(65.0, user), "01.05");
///     user.set({.dates = Locale("de_DE")});           // all else is neutral, or UTC
///
/// Thread-safe.
class ManualUserSettings final : public UserSettingsSource {
 public:
  explicit ManualUserSettings(UserSettings settings = {})
      : settings_(std::make_shared<const UserSettings>(std::move(settings))) {}

  /// Replaces the settings and notifies the observers.
  void set(UserSettings settings) {
    settings_.set(std::make_shared<const UserSettings>(std::move(settings)));
    observers_.notify();
  }

  [[nodiscard]] std::shared_ptr<const UserSettings> current() const override { return settings_.get(); }
  [[nodiscard]] Subscription observe(std::shared_ptr<DispatchQueue> queue,
                                     std::function<void()> changed) override {
    return observers_.add(std::move(queue), std::move(changed));
  }

 private:
  Guarded<std::shared_ptr<const UserSettings>> settings_;
  Observers observers_;
};

}  // namespace tq
