#include "TQFoundation/Platform/Formatting/DurationSymbols.h"

#include <unicode/fieldpos.h>
#include <unicode/fmtable.h>
#include <unicode/locid.h>
#include <unicode/measfmt.h>
#include <unicode/measunit.h>
#include <unicode/measure.h>
#include <unicode/numsys.h>
#include <unicode/unistr.h>

#include <cstdint>
#include <memory>
#include <utility>

namespace tq::internal {
namespace {

constexpr const char* kUsualSeparator = ":";

/// Returns the digits of `locale`; those of ASCII where numbers are not written digit by digit.
std::array<std::string, 10> digitsOf(const icu::Locale& locale) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::NumberingSystem> system(icu::NumberingSystem::createInstance(locale, status));
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

/// Returns what stands between the numbers when ICU writes 22 minutes and 22 seconds. ICU has no call that
/// returns this separator, which differs from that of the time of day in some locales.
std::string separatorOf(const icu::Locale& locale, const std::string& two) {
  UErrorCode status = U_ZERO_ERROR;
  icu::MeasureFormat format(locale, UMEASFMT_WIDTH_NUMERIC, status);
  const icu::Formattable number(22);
  const icu::Measure measures[] = {
      {number, icu::MeasureUnit::createMinute(status), status},
      {number, icu::MeasureUnit::createSecond(status), status},
  };
  icu::UnicodeString written;
  icu::FieldPosition ignored;
  if (U_SUCCESS(status)) format.formatMeasures(measures, 2, written, ignored, status);
  if (U_FAILURE(status)) return kUsualSeparator;
  std::string text;
  written.toUTF8String(text);
  const std::string twentyTwo = two + two;
  if (text.size() <= 2 * twentyTwo.size() || !text.starts_with(twentyTwo) || !text.ends_with(twentyTwo))
    return kUsualSeparator;
  return text.substr(twentyTwo.size(), text.size() - 2 * twentyTwo.size());
}

}  // namespace

DurationSymbols DurationSymbols::of(const Locale& locale) {
  const icu::Locale name(locale.identifier().c_str());
  auto digits = digitsOf(name);
  auto separator = separatorOf(name, digits[2]);
  return {.separator = std::move(separator), .digits = std::move(digits)};
}

}  // namespace tq::internal
