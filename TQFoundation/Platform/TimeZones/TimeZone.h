#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "TQFoundation/Platform/Base/Date.h"
#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

class ZoneRules;

/// What wall clocks show somewhere on earth, and have shown since there were standard times.
///
///     const auto kyiv = TimeZone::make("Europe/Kyiv");
///     const auto summer = kyiv->offset(release);              // 3 h
///     const Date opening = kyiv->firstMoment(wallClockTime);  // when clocks there first show it
///     const TimeZone user = UserSettingsSource::shared()->current()->timeZone;
///
/// The rules come from the system's zone database, as every other program on the system sees them; where
/// there is none, or it lacks the zone, from ICU's. They are read once, when a zone is made. The
/// environment's `TZDIR` names another zone database: making a zone is thread-safe except against concurrent
/// setenv().
///
/// A wall clock's reading is a `Date` here as well: the one at which a clock in UTC shows the same.
///
/// Immutable after construction; share freely. Copies are cheap.
class TQ_API TimeZone {
 public:
  /// The zone of this name ("Europe/Kyiv", "UTC", "Etc/GMT+5"), or nullopt when it is unknown.
  [[nodiscard]] static std::optional<TimeZone> make(std::string_view identifier);

  [[nodiscard]] static const TimeZone& utc();

  /// The zone that a value of the variable `TZ` stands for: a zone's name, or the path of its file, which
  /// counts where it lies beneath a folder "zoneinfo"; else a rule of POSIX such as "EST5EDT,M3.2.0,M11.1.0"
  /// or "<+03>-3". A ":" before it means nothing. The empty value and anything else is UTC.
  [[nodiscard]] static TimeZone ofVariable(std::string_view value);

  /// The zone that the machine is set to: the one that `file` links to, or the file's own rules, called by
  /// the name in /etc/timezone where there is one; else UTC.
  [[nodiscard]] static TimeZone ofSystem(const std::filesystem::path& file = "/etc/localtime");

  /// The name that it was made from, without the database's folder; a rule of POSIX as it was given.
  [[nodiscard]] const std::string& identifier() const noexcept;

  /// How far wall clocks are ahead of UTC at `date`; zero where `date` is none.
  [[nodiscard]] std::chrono::seconds offset(Date date) const;

  /// Whether daylight saving time is in force at `date`.
  [[nodiscard]] bool isDaylightSavingTime(Date date) const;

  /// What wall clocks show at `date`.
  [[nodiscard]] Date wallClock(Date date) const { return date + offset(date); }

  /// The first moment at which wall clocks show `wallClock` or later: of a time that occurs twice the first
  /// time, and for one that is skipped the moment at which clocks go forward past it.
  [[nodiscard]] Date firstMoment(Date wallClock) const;

  /// Same name and same rules; copies compare without looking at either.
  friend bool operator==(const TimeZone& one, const TimeZone& other) noexcept;

 private:
  struct Data;
  explicit TimeZone(std::shared_ptr<const Data> data) : data_(std::move(data)) {}
  static TimeZone with(std::string identifier, ZoneRules rules);

  std::shared_ptr<const Data> data_;  // never null
};

}  // namespace tq
