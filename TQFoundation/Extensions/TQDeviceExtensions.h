#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "TQFoundation/Extensions/TQDeviceModel.h"
#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Ports/DeviceInfo.h"
#include "TQFoundation/Platform/Ports/UserSettings.h"
#include "TQFoundation/Platform/Ports/VolumeInfo.h"

namespace tq {

/// The device that the application runs on.
///
///     const auto& device = UIDevice::currentDevice();
///     title.setText(std::string(rawValue(UIDevice::type())) + ", " + UIDevice::osVersion());
///     room.setText(device.freeDiskSpaceInGB());                 // "75.91 GB", "75,91 GB", "812.4 MB"
///     size.setText(device.MBFormatter(1'500'000) + " MB");      // "1.5 MB"
///
/// Texts follow the locale for numbers that the user has at the moment of the call; `NSByteCountFormatter`
/// says how byte counts are written.
///
/// Immutable after construction; share freely. `type` is thread-safe except against concurrent setenv().
class TQ_API UIDevice {
 public:
  /// A device whose free space is that of `volumes`, with texts for the user of `settings`.
  explicit UIDevice(std::shared_ptr<const VolumeInfo> volumes = VolumeInfo::shared(),
                    std::shared_ptr<const UserSettingsSource> settings = UserSettingsSource::shared());

  /// This machine. Made on first use, never destroyed.
  [[nodiscard]] static const UIDevice& currentDevice();

  /// The model, found out anew at each call.
  ///
  /// Where that is the simulator (any PC is), the environment variable "SIMULATOR_MODEL_IDENTIFIER" may name
  /// the hardware to take its place, such as "iPhone10,3"; a name that the table does not hold changes
  /// nothing. Hardware that the table does not hold is `Model::unrecognized`, and the variable is not looked
  /// at. What is not UTF-8 is in no table.
  [[nodiscard]] static Model type(const DeviceInfo& device = *DeviceInfo::shared());

  /// The identifier of the user's locale, `UserSettings::messages`: language, script where it matters, region
  /// and variant, such as "en_US" or "sr_Latn_RS"; "en_US_POSIX" for the C locale. Read at the first call and
  /// the same ever after.
  [[nodiscard]] static const std::string& deviceLanguage();

  /// The operating system's version as the system reports it, such as "12.1". Read at the first call and the
  /// same ever after.
  [[nodiscard]] static const std::string& osVersion();

  /// Bytes that this user can still write on the volume that holds the home folder (where that does not
  /// exist, its nearest existing parent), measured anew; 0 when the system does not say. At most what
  /// 64 bits with a sign can hold.
  [[nodiscard]] std::int64_t freeDiskSpaceInBytes() const;

  /// `bytes` in megabytes of 1,000,000 bytes, up to one fraction digit, without the unit: "1.5", "5,000".
  /// What is less than half a tenth of one, 0 included, is "0".
  [[nodiscard]] std::string MBFormatter(std::int64_t bytes) const;

  /// The free space with the unit that suits it, in spite of the name: "1.54 GB", "812.4 MB", "Zero KB". 1 GB
  /// is 1,000,000,000 bytes.
  [[nodiscard]] std::string freeDiskSpaceInGB() const;

 private:
  std::shared_ptr<const VolumeInfo> volumes_;
  std::shared_ptr<const UserSettingsSource> settings_;
};

}  // namespace tq
