#include "TQFoundation/Extensions/TQDeviceExtensions.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "TQFoundation/Platform/Base/Environment.h"
#include "TQFoundation/Platform/Base/LazyValue.h"
#include "TQFoundation/Platform/Base/NeverDestroyed.h"
#include "TQFoundation/Platform/Folders/Directories.h"
#include "TQFoundation/Platform/Folders/FreeSpace.h"
#include "TQFoundation/Platform/Formatting/NSByteCountFormatter.h"
#include "TQFoundation/Platform/Localization/Locale.h"

namespace tq {
namespace {

constexpr const char* kSimulatedHardware = "SIMULATOR_MODEL_IDENTIFIER";

// "de_DE" of "de_DE@calendar=hebrew".
std::string withoutKeywords(const std::string& identifier) {
  return identifier.substr(0, identifier.find('@'));
}

}  // namespace

UIDevice::UIDevice(std::shared_ptr<const VolumeInfo> volumes,
                   std::shared_ptr<const UserSettingsSource> settings)
    : volumes_(std::move(volumes)), settings_(std::move(settings)) {}

const UIDevice& UIDevice::currentDevice() {
  static const NeverDestroyed<UIDevice> device;
  return *device;
}

Model UIDevice::type(const DeviceInfo& device) {
  const Model model = modelOfHardware(device.hardwareIdentifier());
  if (model != Model::simulator) return model;
  const auto simulated = environmentVariable(kSimulatedHardware);
  const Model named = simulated ? modelOfHardware(*simulated) : Model::unrecognized;
  return named == Model::unrecognized ? Model::simulator : named;
}

const std::string& UIDevice::deviceLanguage() {
  static constinit internal::LazyValue<std::string> language;
  return language.get(
      [] { return withoutKeywords(UserSettingsSource::shared()->current()->messages.identifier()); });
}

const std::string& UIDevice::osVersion() {
  static constinit internal::LazyValue<std::string> version;
  return version.get([] { return DeviceInfo::shared()->systemVersion(); });
}

std::int64_t UIDevice::freeDiskSpaceInBytes() const {
  constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
  const std::uint64_t free = freeBytesAtNearestFolder(NSHomeDirectory(), *volumes_);
  return static_cast<std::int64_t>(std::min(free, kMost));
}

std::string UIDevice::MBFormatter(std::int64_t bytes) const {
  NSByteCountFormatter formatter(*settings_);
  formatter.setAllowedUnits(NSByteCountFormatterUseMB);
  formatter.setCountStyle(NSByteCountFormatterCountStyleDecimal);
  formatter.setIncludesUnit(false);
  return formatter.stringFromByteCount(bytes);
}

std::string UIDevice::freeDiskSpaceInGB() const {
  return NSByteCountFormatter::stringFromByteCount(freeDiskSpaceInBytes(),
                                                   NSByteCountFormatterCountStyleDecimal, *settings_);
}

}  // namespace tq
