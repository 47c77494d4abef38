#include "tools/tq/DatesCommand.h"

#include <charconv>
#include <optional>
#include <utility>

#include "TQFoundation/Extensions/TQCalendarExtensions.h"
#include "TQFoundation/Extensions/TQDateExtensions.h"
#include "TQFoundation/Extensions/TQDateFormatterExtensions.h"
#include "TQFoundation/Extensions/TQDurationExtensions.h"
#include "TQFoundation/Platform/Ports/Clock.h"
#include "tools/tq/Outcome.h"

namespace tq::tool {
namespace {

constexpr std::size_t kLabelColumns = 24;

// A clock that stands at the date that was asked for, so that its month is the present one.
class ClockAt final : public Clock {
 public:
  explicit ClockAt(Date date) : date_(date) {}
  [[nodiscard]] Date now() const override { return date_; }

 private:
  const Date date_;
};

std::optional<Date> read(const std::string& text) {
  if (text.empty()) return Clock::shared()->now();
  const Locale neutral("en_US_POSIX");
  for (const auto* const pattern : {"yyyy-MM-dd", "yyyy-MM-dd'T'HH:mm", "yyyy-MM-dd'T'HH:mm:ss"})
    if (const auto date = DateFormatter(pattern, neutral).date(text)) return date;
  return std::nullopt;
}

// Other calendars than the Gregorian one count their years from several beginnings.
DateFormatter formatterFor(const Calendar& calendar) {
  const bool isGregorian = calendar.identifier() == "gregorian";
  return {isGregorian ? "EEE d MMM y, HH:mm:ss xxx" : "EEE d MMM y G, HH:mm:ss xxx", calendar.locale()};
}

std::string row(std::string label, const std::string& value) {
  label.resize(kLabelColumns, ' ');
  return label + value + '\n';
}

}  // namespace

int dates(const std::string& date) {
  const auto moment = read(date);
  if (!moment) return fail('"' + date + "\" is no date such as 2024-03-05 or 2024-03-05T09:30:00");
  const Calendar& calendar = currentCalendar();
  const auto formatter = formatterFor(calendar);
  const auto dated = [&](std::string label, Date shown) {
    return row(std::move(label), formatter.string(shown));
  };
  const ClockAt clock(*moment);
  return write(row("calendar", calendar.identifier() + ", " + calendar.timeZone().identifier() + ", " +
                                   calendar.locale().identifier()) +
               dated("moment", *moment) + dated("start of the day", startOfTheDay(*moment)) +
               dated("noon", noon(*moment)) + dated("yesterday", yesterday(*moment)) +
               dated("tomorrow", tomorrow(*moment)) + row("day heading", libraryDayGroupFormatted(*moment)) +
               row("month heading", libraryMonthGroupFormatted(*moment)) +
               dated("first day of month", firstDayOfMonth(calendar, clock)) +
               dated("last day of month", lastDayOfMonth(calendar, clock)) +
               dated("first of previous month", firstDayOfPreviousMonth(calendar, clock)) +
               dated("last of previous month", lastDayOfPreviousMonth(calendar, clock)) +
               row("days in the month", std::to_string(numberOfDaysInCurrentMonth(calendar, clock))));
}

int duration(const std::vector<std::string>& seconds) {
  std::string lines;
  for (const std::string& text : seconds) {
    double value = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, value);
    if (error == std::errc::invalid_argument || stopped != end)
      return fail('"' + text + "\" is no number of seconds");
    if (error == std::errc::result_out_of_range)
      return fail('"' + text + "\" is more seconds than can be counted");
    lines += timeFormattedString(value) + '\n';
  }
  return write(lines);
}

}  // namespace tq::tool
