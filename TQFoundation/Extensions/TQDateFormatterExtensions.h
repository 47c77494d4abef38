#pragma once

#include <string>
#include <string_view>

#include "TQFoundation/Platform/Base/Date.h"
#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Formatting/DateFormatter.h"
#include "TQFoundation/Platform/Localization/Locale.h"

namespace tq {

/// Operations on locales; a value of this type is a `platform::Locale` and nothing more.
class TQ_API Locale : public platform::Locale {
 public:
  using platform::Locale::Locale;

  /// The locale of the language in which the application runs: of those that the main bundle speaks, the one
  /// that suits the user best, "en" where it speaks none. Made afresh at each call, so it follows a change of
  /// the user's languages; what is written with `dayFormatter` and its like does not.
  ///
  /// Callable from any thread, as long as none changes the environment meanwhile.
  [[nodiscard]] static Locale deviceLocale();
};

/// The same as it was at its first use in this process, never destroyed: whatever is headed by dates speaks
/// one language for as long as the program runs.
///
/// Callable from any thread.
[[nodiscard]] TQ_API const Locale& deviceLocale();

/// Writes dates in the language of the application; a value of this type is a `platform::DateFormatter` and
/// nothing more.
///
///     const DateFormatter weekday("EEEE, d MMMM");
///     label.setText(weekday.string(clip.created()));
///
/// Immutable after construction; share freely.
class TQ_API DateFormatter : public platform::DateFormatter {
 public:
  using platform::DateFormatter::DateFormatter;

  /// A formatter in `deviceLocale()`.
  explicit DateFormatter(std::string_view dateFormat);
};

/// The formatter of days, "dd MMM, yyyy", and the one of months, "MMMM yyyy". Made on first use, never
/// destroyed.
///
/// Callable from any thread.
[[nodiscard]] TQ_API const DateFormatter& dayFormatter();
[[nodiscard]] TQ_API const DateFormatter& monthFormatter();

/// The headings under which a library of media puts what was made at `date`: the day ("05 Mar, 2024") and the
/// month ("March 2024"), in the language of the application and the device's time zone of this moment. Empty
/// for what is no date.
///
/// Callable from any thread.
[[nodiscard]] TQ_API std::string libraryDayGroupFormatted(platform::Date date);
[[nodiscard]] TQ_API std::string libraryMonthGroupFormatted(platform::Date date);

}  // namespace tq
