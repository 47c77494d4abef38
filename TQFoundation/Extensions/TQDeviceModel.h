#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// The kinds of device that the application knows.
///
///     const Model model = UIDevice::type();
///     label.setText(std::string(rawValue(model)));              // "iPhone XS Max"
///     if (const auto model = makeModel(text)) show(*model);
///
/// `simulator` is the platform's simulator, and any PC; `unrecognized` is any other.
enum class Model {
  simulator,
  iPod1,
  iPod2,
  iPod3,
  iPod4,
  iPod5,
  iPad2,
  iPad3,
  iPad4,
  iPadAir,
  iPadAir2,
  iPad5,
  iPad6,
  iPadMini,
  iPadMini2,
  iPadMini3,
  iPadMini4,
  iPadPro9_7,
  iPadPro10_5,
  iPadPro12_9,
  iPadPro2_12_9,
  iPhone4,
  iPhone4S,
  iPhone5,
  iPhone5S,
  iPhone5C,
  iPhone6,
  iPhone6plus,
  iPhone6S,
  iPhone6Splus,
  iPhoneSE,
  iPhone7,
  iPhone7plus,
  iPhone8,
  iPhone8plus,
  iPhoneX,
  iPhoneXS,
  iPhoneXSMax,
  iPhoneXR,
  AppleTV,
  AppleTV_4K,
  unrecognized,
};

/// The marketing names of the models, in the order of the cases. That of `iPadAir` ends with a space, those
/// of the iPad Pros with the inch sign.
inline constexpr std::array<std::string_view, 42> kModelRawValues = {
    "simulator/sandbox",
    "iPod 1",
    "iPod 2",
    "iPod 3",
    "iPod 4",
    "iPod 5",
    "iPad 2",
    "iPad 3",
    "iPad 4",
    "iPad Air ",
    "iPad Air 2",
    "iPad 5",
    "iPad 6",
    "iPad Mini",
    "iPad Mini 2",
    "iPad Mini 3",
    "iPad Mini 4",
    "iPad Pro 9.7\"",
    "iPad Pro 10.5\"",
    "iPad Pro 12.9\"",
    "iPad Pro 2 12.9\"",
    "iPhone 4",
    "iPhone 4S",
    "iPhone 5",
    "iPhone 5S",
    "iPhone 5C",
    "iPhone 6",
    "iPhone 6 Plus",
    "iPhone 6S",
    "iPhone 6S Plus",
    "iPhone SE",
    "iPhone 7",
    "iPhone 7 Plus",
    "iPhone 8",
    "iPhone 8 Plus",
    "iPhone X",
    "iPhone XS",
    "iPhone XS Max",
    "iPhone XR",
    "Apple TV",
    "Apple TV 4K",
    "?unrecognized?",
};

/// The marketing name of `model`. Thread-safe.
[[nodiscard]] constexpr std::string_view rawValue(Model model) {
  return kModelRawValues[static_cast<std::size_t>(model)];
}

/// The model whose marketing name is `rawValue`, character for character, or absent: "iPad Air" without its
/// space is none. Thread-safe.
[[nodiscard]] constexpr std::optional<Model> makeModel(std::string_view rawValue) {
  const auto found = std::find(kModelRawValues.begin(), kModelRawValues.end(), rawValue);
  if (found == kModelRawValues.end()) return std::nullopt;
  return static_cast<Model>(found - kModelRawValues.begin());
}

/// The model of a hardware identifier as the system reports it, such as "iPhone11,6": compared byte for byte,
/// `unrecognized` where the table of 76 does not hold it. Thread-safe.
[[nodiscard]] TQ_API Model modelOfHardware(std::string_view identifier);

}  // namespace tq
