#include "TQFoundation/Platform/Formatting/DurationStyle.h"

#include <unicode/fieldpos.h>
#include <unicode/fmtable.h>
#include <unicode/locid.h>
#include <unicode/measfmt.h>
#include <unicode/measunit.h>
#include <unicode/measure.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <string>

#include "TQFoundation/Platform/Localization/Locale.h"
#include "TQFoundation/Platform/Localization/LocaleDigits.h"

namespace tq {
namespace {

constexpr std::string_view kUsualSeparator = ":";

// What stands between the numbers when ICU writes 22 minutes and 22 seconds.
std::string separatorOf(const Locale& locale, const std::string& two) {
  UErrorCode status = U_ZERO_ERROR;
  icu::MeasureFormat format(icu::Locale(locale.identifier().c_str()), UMEASFMT_WIDTH_NUMERIC, status);
  const icu::Formattable number(22);
  const icu::Measure measures[] = {
      {number, icu::MeasureUnit::createMinute(status), status},
      {number, icu::MeasureUnit::createSecond(status), status},
  };
  icu::UnicodeString written;
  icu::FieldPosition ignored;
  if (U_SUCCESS(status)) format.formatMeasures(measures, 2, written, ignored, status);
  if (U_FAILURE(status)) return {};
  std::string text;
  written.toUTF8String(text);
  const std::string twentyTwo = two + two;
  if (text.size() <= 2 * twentyTwo.size() || !text.starts_with(twentyTwo) || !text.ends_with(twentyTwo))
    return {};
  return text.substr(twentyTwo.size(), text.size() - 2 * twentyTwo.size());
}

void fillPairs(DurationStyle& style) {
  const auto isByte = [](const ShortText& text) { return text.view().size() == 1; };
  style.isNarrow = isByte(style.separator) && std::all_of(style.digits.begin(), style.digits.end(), isByte);
  if (!style.isNarrow) return;
  style.narrowSeparator = style.separator.view()[0];
  for (std::size_t i = 0; i < style.pairs.size(); ++i)
    style.pairs[i] = {style.digits[i / 10].view()[0], style.digits[i % 10].view()[0]};
}

DurationStyle styleOf(const Locale& locale) {
  const auto digits = localeDigits(locale);
  const std::string separator = separatorOf(locale, digits[2]);
  const bool fits = !separator.empty() && separator.size() <= ShortText::kLongest;
  DurationStyle style;
  style.separator = ShortText(fits ? separator : kUsualSeparator);
  std::transform(digits.begin(), digits.end(), style.digits.begin(),
                 [](const std::string& digit) { return ShortText(digit); });
  fillPairs(style);
  return style;
}

}  // namespace

const DurationStyle& DurationStyle::of(const UserSettings& settings) {
  return settings.derived.get<DurationStyle>([&] { return styleOf(settings.dates); });
}

}  // namespace tq
