#pragma once

#include <string>
#include <utility>

#include "TQFoundation/Platform/Ports/DeviceInfo.h"

namespace tq {

/// A device that is what the test says.
///
///     EXPECT_EQ(UIDevice::type(FakeDeviceInfo("iPhone11,6")), Model::iPhoneXSMax);
///
/// Immutable after construction; share freely.
class FakeDeviceInfo final : public DeviceInfo {
 public:
  explicit FakeDeviceInfo(std::string hardwareIdentifier, std::string systemVersion = "12.1")
      : hardwareIdentifier_(std::move(hardwareIdentifier)), systemVersion_(std::move(systemVersion)) {}

  [[nodiscard]] std::string hardwareIdentifier() const override { return hardwareIdentifier_; }
  [[nodiscard]] std::string systemVersion() const override { return systemVersion_; }

 private:
  const std::string hardwareIdentifier_;
  const std::string systemVersion_;
};

}  // namespace tq
