#pragma once

#include <memory>
#include <string>

#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// Tells what the device is and what runs on it.
///
///     const auto& device = DeviceInfo::shared();
///     log(device->hardwareIdentifier() + ", system " + device->systemVersion());
///
/// Both texts come from the system as they are: to be checked before they are shown or used as names. Neither
/// promises that a feature is there.
///
/// Thread-safe.
class TQ_API DeviceInfo {
 public:
  virtual ~DeviceInfo() = default;

  /// What the system calls the hardware, read anew: "iPhone11,6", "x86_64", "aarch64". Empty where it does
  /// not tell.
  [[nodiscard]] virtual std::string hardwareIdentifier() const = 0;

  /// The version of the operating system, read anew: "12.1", "12". Empty where it does not tell.
  [[nodiscard]] virtual std::string systemVersion() const = 0;

  /// This machine. Made on first use, never destroyed.
  [[nodiscard]] static const std::shared_ptr<const DeviceInfo>& shared();
};

}  // namespace tq
