#pragma once

#include <string>
#include <string_view>

#include "TQFoundation/Platform/Base/Date.h"
#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Formatting/DateFormatter.h"
#include "TQFoundation/Platform/Localization/Locale.h"
#include "TQFoundation/Platform/Ports/UserSettings.h"
#include "TQFoundation/Platform/Resources/Bundle.h"

namespace tq {

/// Returns the locale of the language in which the application runs: of the localizations of `bundle` the one
/// that suits the user best, "en" where it has none. Made at each call, so it follows a change of the user's
/// languages; what is written with `dayFormatter` and its like does not.
///
///     const Locale now = deviceLocale(Bundle::main());
///
/// Thread-safe.
[[nodiscard]] TQ_API Locale deviceLocale(const Bundle& bundle,
                                         const UserSettingsSource& settings = *UserSettingsSource::shared());

/// Returns the main bundle's as it was at the first use in this process: headings of dates keep one language
/// for as long as the program runs. Never destroyed.
///
/// Thread-safe.
[[nodiscard]] TQ_API const Locale& deviceLocale();

/// Returns a formatter of the pattern `dateFormat` that writes in the language of the application.
///
///     const DateFormatter weekday = dateFormatter("EEEE, d MMMM");
///     label.setText(weekday.string(clip.created()));
[[nodiscard]] TQ_API DateFormatter dateFormatter(std::string_view dateFormat);

/// Return the formatter of days, "dd MMM, yyyy", and that of months, "MMMM yyyy". Made on first use, never
/// destroyed.
///
/// Thread-safe.
[[nodiscard]] TQ_API const DateFormatter& dayFormatter();
[[nodiscard]] TQ_API const DateFormatter& monthFormatter();

/// Return the headings under which a media library lists what was made at `date`: the day ("05 Mar, 2024")
/// and the month ("March 2024"), in the language of the application and the user's time zone of this moment.
/// Empty for what is no date.
///
/// Thread-safe.
[[nodiscard]] TQ_API std::string libraryDayGroupFormatted(
    Date date, const UserSettingsSource& settings = *UserSettingsSource::shared());
[[nodiscard]] TQ_API std::string libraryMonthGroupFormatted(
    Date date, const UserSettingsSource& settings = *UserSettingsSource::shared());

}  // namespace tq
