#include "TQFoundation/Extensions/TQDateFormatterExtensions.h"

#include "TQFoundation/Platform/Localization/Bundle.h"

namespace tq {

Locale Locale::deviceLocale() {
  return Locale(platform::Bundle::main().preferredLocalizations().front());
}

const Locale& deviceLocale() {
  static const auto& locale = *new Locale(Locale::deviceLocale());
  return locale;
}

DateFormatter::DateFormatter(std::string_view dateFormat)
    : platform::DateFormatter(dateFormat, tq::deviceLocale()) {}

const DateFormatter& dayFormatter() {
  static const auto& formatter = *new DateFormatter("dd MMM, yyyy");
  return formatter;
}

const DateFormatter& monthFormatter() {
  static const auto& formatter = *new DateFormatter("MMMM yyyy");
  return formatter;
}

std::string libraryDayGroupFormatted(platform::Date date) {
  return dayFormatter().string(date);
}

std::string libraryMonthGroupFormatted(platform::Date date) {
  return monthFormatter().string(date);
}

}  // namespace tq
