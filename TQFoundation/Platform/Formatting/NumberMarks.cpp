#include "TQFoundation/Platform/Formatting/NumberMarks.h"

#include <unicode/dcfmtsym.h>
#include <unicode/locid.h>
#include <unicode/numberformatter.h>

#include <algorithm>
#include <charconv>
#include <limits>

#include "TQFoundation/Platform/Localization/LocaleDigits.h"

namespace tq {
namespace {

using Symbols = icu::DecimalFormatSymbols;

ShortText shortened(std::string_view text, std::string_view otherwise) {
  return ShortText(text.size() <= ShortText::kLongest ? text : otherwise);
}

ShortText symbol(const Symbols& symbols, Symbols::ENumberFormatSymbol which, std::string_view otherwise) {
  std::string text;
  return shortened(symbols.getConstSymbol(which).toUTF8String(text), otherwise);
}

std::string formatted(const icu::number::LocalizedNumberFormatter& formatter, std::int64_t number) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::UnicodeString written = formatter.formatInt(number, status).toString(status);
  std::string text;
  if (U_SUCCESS(status)) written.toUTF8String(text);
  return text;
}

// Where the group marks stand in a number of which every digit is `one`.
std::uint32_t groupsIn(std::string_view number, std::string_view one, std::string_view mark) {
  std::uint32_t groups = 0;
  std::size_t digits = 0;
  while (!number.empty()) {
    const bool isMark = !mark.empty() && number.ends_with(mark);
    if (isMark) {
      groups |= std::uint32_t{1} << digits;
    } else {
      ++digits;
    }
    number.remove_suffix(std::min(number.size(), isMark ? mark.size() : one.size()));
  }
  return groups;
}

}  // namespace

// How many digits it takes for a first mark, and how long the groups are, differs from locale to locale; the
// formatter's own numbers tell it for each length.
NumberMarks NumberMarks::of(const Locale& locale) {
  NumberMarks marks{};
  const auto digits = localeDigits(locale);
  std::transform(digits.begin(), digits.end(), marks.digits.begin(),
                 [](const std::string& digit) { return ShortText(digit); });
  UErrorCode status = U_ZERO_ERROR;
  const icu::Locale name(locale.identifier().c_str());
  const Symbols symbols(name, status);
  marks.decimalMark = symbol(symbols, Symbols::kDecimalSeparatorSymbol, ".");
  marks.groupMark = symbol(symbols, Symbols::kGroupingSeparatorSymbol, ",");

  const auto formatter = icu::number::NumberFormatter::withLocale(name);
  const std::string_view one = marks.digits[1].view();
  const std::string negative = formatted(formatter, -1);
  const std::size_t digit = negative.find(one);
  const bool found = digit != std::string::npos;
  marks.negativePrefix = shortened(found ? negative.substr(0, digit) : "-", "-");
  marks.negativeSuffix = shortened(found ? negative.substr(digit + one.size()) : "", "");
  std::int64_t ones = 0;
  for (std::size_t length = 1; length <= std::numeric_limits<std::int64_t>::digits10 + 1; ++length) {
    ones = ones * 10 + 1;
    marks.groups[length] = groupsIn(formatted(formatter, ones), one, marks.groupMark.view());
  }
  return marks;
}

const NumberMarks& NumberMarks::of(const UserSettings& settings) {
  return settings.derived.get<NumberMarks>([&] { return of(settings.numbers); });
}

void appendNumber(std::string& text, std::uint64_t value, int fractionDigits, const NumberMarks& marks) {
  std::array<char, std::numeric_limits<std::uint64_t>::digits10 + 1> ascii{};
  std::uint64_t scale = 1;
  for (int digit = 0; digit < fractionDigits; ++digit) scale *= 10;
  const char* const end = std::to_chars(ascii.data(), ascii.data() + ascii.size(), value / scale).ptr;
  const std::uint32_t groups = marks.groups[static_cast<std::size_t>(end - ascii.data())];
  for (const char* digit = ascii.data(); digit < end; ++digit) {
    if ((groups >> (end - digit) & 1) != 0) text += marks.groupMark.view();
    text += marks.digits[static_cast<std::size_t>(*digit - '0')].view();
  }
  std::uint64_t left = value % scale;
  if (left != 0) text += marks.decimalMark.view();
  for (; left != 0; left %= scale) {
    scale /= 10;
    text += marks.digits[left / scale].view();
  }
}

}  // namespace tq
