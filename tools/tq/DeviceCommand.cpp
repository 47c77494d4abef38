#include "tools/tq/DeviceCommand.h"

#include <string>
#include <string_view>
#include <utility>

#include "TQFoundation/Extensions/TQDeviceExtensions.h"
#include "tools/tq/Outcome.h"
#include "tools/tq/Text.h"

namespace tq::tool {

int device(const Interrupts& /*interrupts*/) {
  constexpr std::size_t kNameColumns = 16;
  const std::pair<std::string_view, std::string> facts[] = {
      {"model", std::string(rawValue(UIDevice::type()))},
      {"identifier", DeviceInfo::shared()->hardwareIdentifier()},
      {"system version", UIDevice::osVersion()},
      {"language", UIDevice::deviceLanguage()},
      {"free space", UIDevice::currentDevice().freeDiskSpaceInGB()},
  };
  std::string lines;
  for (const auto& [name, value] : facts) {
    lines += name;
    lines.append(kNameColumns - name.size(), ' ').append(printable(value)).append("\n");
  }
  return write(lines);
}

}  // namespace tq::tool
