#include "TQFoundation/Platform/Localization/LocaleDigits.h"

#include <unicode/locid.h>
#include <unicode/numsys.h>
#include <unicode/unistr.h>

#include <cstdint>
#include <memory>

namespace tq {

std::array<std::string, 10> localeDigits(const Locale& locale) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::NumberingSystem> system(
      icu::NumberingSystem::createInstance(icu::Locale(locale.identifier().c_str()), status));
  icu::UnicodeString all = u"0123456789";
  if (U_SUCCESS(status) && system != nullptr && !system->isAlgorithmic() && system->getRadix() == 10)
    all = system->getDescription();
  std::array<std::string, 10> digits;
  std::int32_t begin = 0;
  for (std::string& digit : digits) {
    const std::int32_t end = all.moveIndex32(begin, 1);
    all.tempSubStringBetween(begin, end).toUTF8String(digit);
    begin = end;
  }
  return digits;
}

}  // namespace tq
