#pragma once

#include <string>
#include <string_view>

#include "TQFoundation/Platform/Ports/DeviceInfo.h"

namespace tq::internal {

/// What `uname` and the distribution's os-release file say, see os-release(5).
///
/// Thread-safe.
class TQ_API LinuxDeviceInfo final : public DeviceInfo {
 public:
  /// The second file counts only where the first cannot be read.
  explicit LinuxDeviceInfo(std::string osRelease = "/etc/os-release",
                           std::string fallback = "/usr/lib/os-release");

  [[nodiscard]] std::string hardwareIdentifier() const override;

  /// `VERSION_ID`; where there is none, the kernel's release.
  [[nodiscard]] std::string systemVersion() const override;

 private:
  const std::string osRelease_;
  const std::string fallback_;
};

/// The value of `VERSION_ID` in the text of an os-release file; empty where it has none, or one that is no
/// version: longer than 64 bytes, or with anything but ASCII letters, digits, ".", "_" and "-". Of several
/// assignments the last counts.
[[nodiscard]] TQ_API std::string versionInOsRelease(std::string_view text);

}  // namespace tq::internal
