#include "TQFoundation/Extensions/TQDeviceModel.h"

#include <algorithm>

namespace tq {
namespace {

struct Hardware {
  std::string_view identifier;
  Model model;
};

// clang-format off
constexpr std::array<Hardware, 76> kHardware = {{
    {"i386", Model::simulator},
    {"x86_64", Model::simulator},
    {"iPod1,1", Model::iPod1},
    {"iPod2,1", Model::iPod2},
    {"iPod3,1", Model::iPod3},
    {"iPod4,1", Model::iPod4},
    {"iPod5,1", Model::iPod5},
    {"iPad2,1", Model::iPad2},
    {"iPad2,2", Model::iPad2},
    {"iPad2,3", Model::iPad2},
    {"iPad2,4", Model::iPad2},
    {"iPad3,1", Model::iPad3},
    {"iPad3,2", Model::iPad3},
    {"iPad3,3", Model::iPad3},
    {"iPad3,4", Model::iPad4},
    {"iPad3,5", Model::iPad4},
    {"iPad3,6", Model::iPad4},
    {"iPad4,1", Model::iPadAir},
    {"iPad4,2", Model::iPadAir},
    {"iPad4,3", Model::iPadAir},
    {"iPad5,3", Model::iPadAir2},
    {"iPad5,4", Model::iPadAir2},
    {"iPad6,11", Model::iPad5},
    {"iPad6,12", Model::iPad5},
    {"iPad7,5", Model::iPad6},
    {"iPad7,6", Model::iPad6},
    {"iPad2,5", Model::iPadMini},
    {"iPad2,6", Model::iPadMini},
    {"iPad2,7", Model::iPadMini},
    {"iPad4,4", Model::iPadMini2},
    {"iPad4,5", Model::iPadMini2},
    {"iPad4,6", Model::iPadMini2},
    {"iPad4,7", Model::iPadMini3},
    {"iPad4,8", Model::iPadMini3},
    {"iPad4,9", Model::iPadMini3},
    {"iPad5,1", Model::iPadMini4},
    {"iPad5,2", Model::iPadMini4},
    {"iPad6,3", Model::iPadPro9_7},
    {"iPad6,4", Model::iPadPro9_7},
    {"iPad7,3", Model::iPadPro10_5},
    {"iPad7,4", Model::iPadPro10_5},
    {"iPad6,7", Model::iPadPro12_9},
    {"iPad6,8", Model::iPadPro12_9},
    {"iPad7,1", Model::iPadPro2_12_9},
    {"iPad7,2", Model::iPadPro2_12_9},
    {"iPhone3,1", Model::iPhone4},
    {"iPhone3,2", Model::iPhone4},
    {"iPhone3,3", Model::iPhone4},
    {"iPhone4,1", Model::iPhone4S},
    {"iPhone5,1", Model::iPhone5},
    {"iPhone5,2", Model::iPhone5},
    {"iPhone6,1", Model::iPhone5S},
    {"iPhone6,2", Model::iPhone5S},
    {"iPhone5,3", Model::iPhone5C},
    {"iPhone5,4", Model::iPhone5C},
    {"iPhone7,2", Model::iPhone6},
    {"iPhone7,1", Model::iPhone6plus},
    {"iPhone8,1", Model::iPhone6S},
    {"iPhone8,2", Model::iPhone6Splus},
    {"iPhone8,4", Model::iPhoneSE},
    {"iPhone9,1", Model::iPhone7},
    {"iPhone9,3", Model::iPhone7},
    {"iPhone9,2", Model::iPhone7plus},
    {"iPhone9,4", Model::iPhone7plus},
    {"iPhone10,1", Model::iPhone8},
    {"iPhone10,4", Model::iPhone8},
    {"iPhone10,2", Model::iPhone8plus},
    {"iPhone10,5", Model::iPhone8plus},
    {"iPhone10,3", Model::iPhoneX},
    {"iPhone10,6", Model::iPhoneX},
    {"iPhone11,2", Model::iPhoneXS},
    {"iPhone11,4", Model::iPhoneXSMax},
    {"iPhone11,6", Model::iPhoneXSMax},
    {"iPhone11,8", Model::iPhoneXR},
    {"AppleTV5,3", Model::AppleTV},
    {"AppleTV6,2", Model::AppleTV_4K},
}};
// clang-format on

constexpr auto kByIdentifier = [] {
  auto table = kHardware;
  std::ranges::sort(table, {}, &Hardware::identifier);
  return table;
}();
static_assert(std::ranges::adjacent_find(kByIdentifier, {}, &Hardware::identifier) == kByIdentifier.end(),
              "an identifier stands twice");

}  // namespace

Model modelOfHardware(std::string_view identifier) {
  const auto found = std::ranges::lower_bound(kByIdentifier, identifier, {}, &Hardware::identifier);
  return found != kByIdentifier.end() && found->identifier == identifier ? found->model : Model::unrecognized;
}

}  // namespace tq
