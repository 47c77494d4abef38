#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TQFoundation/Platform/Base/Date.h"
#include "TQFoundation/Platform/Localization/Locale.h"

namespace tq {

/// A date's text, and where in it numbers stand that change from day to day and from year to year.
struct DateText {
  struct Number {
    enum class Kind { day, year };
    Kind kind;
    std::size_t begin;  ///< In bytes.
    std::size_t end;
  };
  std::string text;
  std::vector<Number> numbers;
};

/// The texts of all dates from 1600 to 9999 in the Gregorian calendar, made from one sample for each month by
/// writing other numbers over those in it; and the way back.
///
/// Immutable after construction; share freely.
class MonthTexts {
 public:
  /// The day and the year of the samples. They are as short as any, so that a number that is not padded
  /// shows.
  static constexpr unsigned kDay = 5;
  static constexpr int kYear = 2000;

  /// One text for each month of `kYear`. Absent where the numbers in them are not of the same length for
  /// every date: days of fewer than two digits, years of fewer than four.
  [[nodiscard]] static std::optional<MonthTexts> make(std::array<DateText, 12> samples, const Locale& locale);

  /// The text of the day that wall clocks show at `wallClock`; absent outside of the years above.
  [[nodiscard]] std::optional<std::string> text(Date wallClock) const;

  /// What wall clocks show when the day begins that has this very text, or the first day of the month where
  /// the text names none. Absent for any other text, which may still denote a date, and where texts do not
  /// tell the month and the year.
  [[nodiscard]] std::optional<Date> wallClock(std::string_view text) const;

 private:
  MonthTexts(std::array<DateText, 12> samples, std::array<std::string, 10> digits);
  void write(unsigned value, const DateText::Number& number, std::string& text) const;
  [[nodiscard]] std::optional<unsigned> read(std::string_view number) const;
  [[nodiscard]] std::optional<Date> wallClock(std::string_view text, unsigned month) const;

  std::array<DateText, 12> samples_;
  std::array<std::string, 10> digits_;  // all of one length
  bool areUnique_;                      // no two dates of different months have one text
};

}  // namespace tq
