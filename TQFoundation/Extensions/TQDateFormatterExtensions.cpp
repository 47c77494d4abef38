#include "TQFoundation/Extensions/TQDateFormatterExtensions.h"

#include "TQFoundation/Platform/Localization/Bundle.h"

namespace tq {

Locale deviceLocale(const Bundle& bundle) {
  return Locale(bundle.preferredLocalizations().front());
}

const Locale& deviceLocale() {
  static const auto& locale = *new Locale(deviceLocale(Bundle::main()));
  return locale;
}

DateFormatter dateFormatter(std::string_view dateFormat) {
  return DateFormatter(dateFormat, deviceLocale());
}

const DateFormatter& dayFormatter() {
  static const auto& formatter = *new DateFormatter(dateFormatter("dd MMM, yyyy"));
  return formatter;
}

const DateFormatter& monthFormatter() {
  static const auto& formatter = *new DateFormatter(dateFormatter("MMMM yyyy"));
  return formatter;
}

std::string libraryDayGroupFormatted(Date date) {
  return dayFormatter().string(date);
}

std::string libraryMonthGroupFormatted(Date date) {
  return monthFormatter().string(date);
}

}  // namespace tq
