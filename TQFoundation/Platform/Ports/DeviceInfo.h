#pragma once

#include <memory>
#include <string>

#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// Reports the device's hardware and the version of its system.
///
///     const auto& device = DeviceInfo::shared();
///     log(device->hardwareIdentifier() + ", system " + device->systemVersion());
///
/// Both texts are the system's own, unchecked: check them before they are shown or used as names.
///
/// Thread-safe.
class TQ_API DeviceInfo {
 public:
  virtual ~DeviceInfo() = default;

  /// What the system calls the hardware, read anew: "iPhone11,6", "x86_64", "aarch64". Empty where it does
  /// not say.
  [[nodiscard]] virtual std::string hardwareIdentifier() const = 0;

  /// The version of the operating system, read anew: "12.1", "12". Empty where it does not say.
  [[nodiscard]] virtual std::string systemVersion() const = 0;

  /// This machine. Made on first use, never destroyed.
  [[nodiscard]] static const std::shared_ptr<const DeviceInfo>& shared();
};

}  // namespace tq
