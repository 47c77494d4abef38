#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "TQFoundation/Platform/Base/Date.h"
#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Localization/Locale.h"
#include "TQFoundation/Platform/Ports/UserSettings.h"

namespace tq {

/// Writes dates as text for people, and reads such text back.
///
///     const DateFormatter heading("dd MMM, yyyy", Locale("en"));
///     heading.string(release);                      // "05 Mar, 2024"
///     heading.date("05 Mar, 2024");                 // midnight of that day
///     heading.date("31 Feb, 2024");                 // absent
///
/// Patterns are those of Unicode Technical Standard 35: "dd" is the day of the month in two digits, "MMM" the
/// short and "MMMM" the long name of the month, "yyyy" the year in four digits or more; letters in
/// 'apostrophes' stand for themselves. The calendar is the one that the locale uses (Gregorian nearly
/// everywhere, Persian in "fa", Buddhist in "th"), and so are the digits.
///
/// The time zone is the user's at the moment of each call, so a formatter may be kept for ever.
///
/// Immutable after construction; share freely. Copies share their state. Threads do not wait for each other.
class TQ_API DateFormatter {
 public:
  /// A pattern with a letter that has no meaning writes empty texts and reads no date.
  DateFormatter(std::string_view dateFormat, const Locale& locale);

  [[nodiscard]] const std::string& dateFormat() const noexcept;
  [[nodiscard]] const Locale& locale() const noexcept;

  /// Returns the text of `from` in UTF-8; empty for what is no date, or so far away that no calendar reaches
  /// it.
  [[nodiscard]] std::string string(Date from,
                                   const UserSettingsSource& settings = *UserSettingsSource::shared()) const;

  /// Returns the date that `from` denotes, or nullopt. The whole text has to fit the pattern, in the words
  /// and digits of the locale or the digits of ASCII, and to name a day and a time that the calendar has: "5"
  /// or "32" do not fit "dd", and "24" does not fit "yyyy". There may be more spaces and leading zeros, and
  /// letters may be capitals.
  ///
  /// What the pattern does not contain is the first possible: the first month, its first day, the first
  /// moment of the day. Of a time that occurs twice the first is meant, and for one that the zone's clocks
  /// skip the moment at which they go past it. A pattern without an era means the present one, so a year
  /// before it is read as one of it. A zone's name that several zones share means the device's zone if that
  /// has the name at the time, else the one that Unicode's data prefers; zones have the rules of
  /// `TimeZone::make`.
  [[nodiscard]] std::optional<Date> date(
      std::string_view from, const UserSettingsSource& settings = *UserSettingsSource::shared()) const;

 private:
  struct Data;
  std::shared_ptr<const Data> data_;  // never null
};

}  // namespace tq
