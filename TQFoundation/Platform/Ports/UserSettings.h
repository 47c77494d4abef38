#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "TQFoundation/Platform/Base/DerivedValues.h"
#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Localization/Locale.h"
#include "TQFoundation/Platform/Queues/Observers.h"
#include "TQFoundation/Platform/TimeZones/TimeZone.h"

namespace tq {

class DispatchQueue;

/// How the user wants dates, numbers and texts: one snapshot, which is replaced whole when the user changes
/// anything.
///
/// Snapshots are compared by their address. What is computed from one (symbols, ICU's objects, the calendar)
/// is kept in `derived` and goes with it.
///
/// Immutable once it is shared; share freely.
struct UserSettings {
  std::vector<std::string> languages = {};  ///< For texts, best first: "de_AT", "pt-BR".
  Locale dates{"en_US_POSIX"};              ///< For dates, times, durations and the calendar.
  Locale numbers{"en_US_POSIX"};            ///< For numbers and byte counts.
  Locale messages{"en_US_POSIX"};           ///< The language and region that the user goes by.
  TimeZone timeZone = TimeZone::utc();
  DerivedValues derived = {};
};

/// Provides the user's settings, and word of their changes.
///
///     const auto settings = UserSettingsSource::shared()->current();
///     const auto word = UserSettingsSource::shared()->observe(DispatchQueue::main(), [] { reload(); });
///
/// The default reads the environment and /etc/localtime. A host whose system announces changes brings an
/// adapter of its own and defines `shared()` in it, instead of the default's file in the build:
///
///     class PhoneSettings final : public UserSettingsSource {
///      public:
///       std::shared_ptr<const UserSettings> current() const override { return settings_.get(); }
///       Subscription observe(std::shared_ptr<DispatchQueue> queue, std::function<void()> changed) override {
///         return observers_.add(std::move(queue), std::move(changed));
///       }
///       /// For the system's own callback: the user has chosen other settings.
///       void replace(UserSettings settings) {
///         settings_.set(std::make_shared<const UserSettings>(std::move(settings)));
///         observers_.notify();
///       }
///
///      private:
///       Guarded<std::shared_ptr<const UserSettings>> settings_{std::make_shared<const UserSettings>()};
///       Observers observers_;
///     };
///
/// Thread-safe.
class TQ_API UserSettingsSource {
 public:
  UserSettingsSource() = default;
  UserSettingsSource(const UserSettingsSource&) = delete;
  UserSettingsSource& operator=(const UserSettingsSource&) = delete;
  virtual ~UserSettingsSource() = default;

  /// Returns the settings as they are now: never null, and the same snapshot while nothing changes.
  [[nodiscard]] virtual std::shared_ptr<const UserSettings> current() const = 0;

  /// Has `changed` run on `queue` after each change, until the subscription is released; never inside this
  /// call. `current` returns the new settings by then.
  [[nodiscard]] virtual Subscription observe(std::shared_ptr<DispatchQueue> queue,
                                             std::function<void()> changed) = 0;

  /// Reads the settings again, for a source that is not told of every change. Of the default it is the only
  /// way to see a changed environment, and is thread-safe except against concurrent setenv().
  virtual void refresh() {}

  /// The settings of this process's user. Made on first use, never destroyed.
  [[nodiscard]] static const std::shared_ptr<UserSettingsSource>& shared();
};

}  // namespace tq
