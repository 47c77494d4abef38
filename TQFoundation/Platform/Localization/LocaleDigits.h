#pragma once

#include <array>
#include <string>

#include "TQFoundation/Platform/Localization/Locale.h"

namespace tq {

/// The digits from zero to nine by which numbers are written in `locale`, each in UTF-8; those of ASCII where
/// numbers are not written digit by digit.
[[nodiscard]] std::array<std::string, 10> localeDigits(const Locale& locale);

}  // namespace tq
