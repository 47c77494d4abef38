#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/Mutex.h"
#include "TQFoundation/Platform/Ports/UserSettings.h"

namespace tq {

/// The settings that the environment and the system's zone file hold.
///
/// | setting       | the first that is set and not empty                                              |
/// |---------------|----------------------------------------------------------------------------------|
/// | `dates`       | LC_ALL, LC_TIME, LANG                                                            |
/// | `numbers`     | LC_ALL, LC_NUMERIC, LANG                                                         |
/// | `messages`    | LC_ALL, LC_MESSAGES, LANG                                                        |
/// | `languages`   | those of LANGUAGE, then the one of `messages`; "C" and "POSIX" name none         |
/// | `timeZone`    | TZ, also where it is empty; the zone file                                        |
///
/// The environment is read when this is made and by `refresh`, and at no other time. A change of the zone
/// file is noticed within a second: by the next call of `current`, or by a look each second while there
/// are subscriptions.
///
/// Thread-safe; making it and `refresh` except against concurrent setenv().
class TQ_API EnvironmentSettings final : public UserSettingsSource,
                                         public std::enable_shared_from_this<EnvironmentSettings> {
 public:
  explicit EnvironmentSettings(std::filesystem::path zoneFile = "/etc/localtime");

  [[nodiscard]] std::shared_ptr<const UserSettings> current() const override;
  [[nodiscard]] Subscription observe(std::shared_ptr<DispatchQueue> queue,
                                     std::function<void()> changed) override;
  void refresh() override;

 private:
  using Clock = std::chrono::steady_clock;

  /// What differs when the zone file has been replaced or written to: device, inode and time of change, of
  /// the link and of the file that it leads to.
  using FileStamp = std::array<std::int64_t, 8>;

  [[nodiscard]] static FileStamp stampOf(const std::filesystem::path& file);
  /// Replaces the snapshot if the zone file has changed; returns whether it has.
  bool lookAtZoneFile() const TQ_REQUIRES(mutex_);
  void lookEachSecond();

  const std::filesystem::path zoneFile_;
  mutable Mutex mutex_;
  mutable std::shared_ptr<const UserSettings> settings_ TQ_GUARDED_BY(mutex_);  // never null
  mutable FileStamp stamp_ TQ_GUARDED_BY(mutex_){};
  mutable Clock::time_point nextLook_ TQ_GUARDED_BY(mutex_);
  bool followsFile_ TQ_GUARDED_BY(mutex_) = false;  // TZ is not set
  bool looksEachSecond_ TQ_GUARDED_BY(mutex_) = false;
  mutable Observers observers_;
};

}  // namespace tq
