#include "TQFoundation/Extensions/TQDateFormatterExtensions.h"

#include "TQFoundation/Platform/Base/NeverDestroyed.h"
#include "TQFoundation/Platform/Resources/Bundle.h"

namespace tq {

Locale deviceLocale(const Bundle& bundle, const UserSettingsSource& settings) {
  return Locale(bundle.preferredLocalizations(settings.current()->languages).front());
}

const Locale& deviceLocale() {
  static const NeverDestroyed<Locale> locale(deviceLocale(Bundle::main()));
  return *locale;
}

DateFormatter dateFormatter(std::string_view dateFormat) {
  return DateFormatter(dateFormat, deviceLocale());
}

const DateFormatter& dayFormatter() {
  static const NeverDestroyed<DateFormatter> formatter(dateFormatter("dd MMM, yyyy"));
  return *formatter;
}

const DateFormatter& monthFormatter() {
  static const NeverDestroyed<DateFormatter> formatter(dateFormatter("MMMM yyyy"));
  return *formatter;
}

std::string libraryDayGroupFormatted(Date date, const UserSettingsSource& settings) {
  return dayFormatter().string(date, settings);
}

std::string libraryMonthGroupFormatted(Date date, const UserSettingsSource& settings) {
  return monthFormatter().string(date, settings);
}

}  // namespace tq
