#include "TQFoundation/Platform/Formatting/DateFormatter.h"

#include <unicode/calendar.h>
#include <unicode/fpositer.h>
#include <unicode/locid.h>
#include <unicode/parsepos.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <utility>

#include "TQFoundation/Platform/Base/WorkingCopies.h"
#include "TQFoundation/Platform/Formatting/MonthTexts.h"
#include "TQFoundation/Platform/TimeZones/IcuTimeZone.h"
#include "TQFoundation/Platform/TimeZones/TimeZone.h"

namespace tq {
namespace {

constexpr std::size_t kLongestText = 4096;
constexpr std::string_view kZoneLetters = "zZOvVXx";
constexpr std::string_view kDayMonthYearLetters = "dMLy";

icu::UnicodeString fromUTF8(std::string_view text) {
  return icu::UnicodeString::fromUTF8({text.data(), static_cast<int32_t>(text.size())});
}

std::string toUTF8(const icu::UnicodeString& text) {
  std::string result;
  text.toUTF8String(result);
  return result;
}

// What of a pattern is no literal text.
std::string lettersOf(std::string_view pattern) {
  std::string letters;
  bool quoted = false;
  for (const char c : pattern) {
    if (c == '\'') quoted = !quoted;
    if (!quoted && ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'))) letters += c;
  }
  return letters;
}

// ICU's formatter and the calendar that it counts with: one thread at a time. The calendar is kept in UTC and
// is told what wall clocks show, so it need not follow the device's zone; unless the text names the zone.
class Scribe {
 public:
  static std::unique_ptr<const Scribe> make(std::string_view pattern, const Locale& locale) {
    const icu::Locale name(locale.identifier().c_str());
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Calendar> calendar(
        icu::Calendar::createInstance(icu::TimeZone::getGMT()->clone(), name, status));
    auto format = std::make_unique<icu::SimpleDateFormat>(fromUTF8(pattern), name, status);
    if (U_FAILURE(status)) return nullptr;
    calendar->setLenient(false);
    format->setLenient(false);
    auto scribe = std::make_unique<Scribe>(std::move(format), std::move(calendar));
    scribe->namesZone_ = lettersOf(pattern).find_first_of(kZoneLetters) != std::string::npos;
    icu::UnicodeString text;
    return scribe->write(Date(), text, nullptr) ? std::move(scribe) : nullptr;
  }

  Scribe(std::unique_ptr<icu::SimpleDateFormat> format, std::unique_ptr<icu::Calendar> calendar)
      : format_(std::move(format)), calendar_(std::move(calendar)) {}

  [[nodiscard]] Scribe* clone() const {
    auto copy = std::make_unique<Scribe>(std::unique_ptr<icu::SimpleDateFormat>(format_->clone()),
                                         std::unique_ptr<icu::Calendar>(calendar_->clone()));
    copy->namesZone_ = namesZone_;
    return copy.release();
  }

  [[nodiscard]] bool isGregorian() const { return std::string_view("gregorian") == calendar_->getType(); }

  std::string text(Date date, const TimeZone& zone) {
    if (namesZone_) calendar_->adoptTimeZone(icuTimeZone(zone).release());
    icu::UnicodeString text;
    return write(namesZone_ ? date : zone.wallClock(date), text, nullptr) ? toUTF8(text) : std::string();
  }

  std::optional<Date> date(std::string_view from, const TimeZone& zone) {
    if (namesZone_) calendar_->adoptTimeZone(icuTimeZone(zone).release());
    calendar_->clear();
    const icu::UnicodeString text = fromUTF8(from);
    icu::ParsePosition position(0);
    format_->parse(text, *calendar_, position);
    if (position.getErrorIndex() >= 0 || position.getIndex() != text.length()) return {};
    UErrorCode status = U_ZERO_ERROR;
    const Date result{Date::duration(calendar_->getTime(status))};
    if (U_FAILURE(status)) return {};
    return namesZone_ ? result : zone.firstMoment(result);
  }

  // The text of a day, and where its day and year stand in it.
  DateText sample(std::chrono::sys_days day) {
    icu::UnicodeString text;
    icu::FieldPositionIterator fields;
    if (!write(day, text, &fields)) return {};
    DateText result{.text = toUTF8(text), .numbers = {}};
    icu::FieldPosition field;
    while (fields.next(field) != 0) {
      using Kind = DateText::Number::Kind;
      if (field.getField() != UDAT_DATE_FIELD && field.getField() != UDAT_YEAR_FIELD) continue;
      result.numbers.push_back({.kind = field.getField() == UDAT_DATE_FIELD ? Kind::day : Kind::year,
                                .begin = toUTF8(text.tempSubString(0, field.getBeginIndex())).size(),
                                .end = toUTF8(text.tempSubString(0, field.getEndIndex())).size()});
    }
    return result;
  }

 private:
  bool write(Date shown, icu::UnicodeString& text, icu::FieldPositionIterator* fields) {
    UErrorCode status = U_ZERO_ERROR;
    calendar_->setTime(shown.time_since_epoch().count(), status);
    if (U_SUCCESS(status)) format_->format(*calendar_, text, fields, status);
    return U_SUCCESS(status) != 0;
  }

  std::unique_ptr<icu::SimpleDateFormat> format_;
  std::unique_ptr<icu::Calendar> calendar_;
  bool namesZone_ = false;
};

using std::chrono::sys_days;

// Whether `texts` says what `scribe` does at the ends of the months of a few years. Where numbers or names
// depend on more than a sample can show, that shows here.
bool agree(const MonthTexts& texts, Scribe& scribe) {
  for (const int year : {1600, 1999, 9999}) {
    for (unsigned month = 1; month <= 12; ++month) {
      const auto last = std::chrono::year(year) / static_cast<int>(month) / std::chrono::last;
      const Date day = sys_days(last);
      if (texts.text(day) != scribe.text(day, TimeZone::utc())) return false;
    }
  }
  return true;
}

// A pattern of nothing but days, months and years in the Gregorian calendar needs no ICU once its months are
// known.
std::optional<MonthTexts> monthTexts(std::string_view pattern, const Locale& locale, Scribe& scribe) {
  if (!scribe.isGregorian()) return {};
  if (lettersOf(pattern).find_first_not_of(kDayMonthYearLetters) != std::string::npos) return {};
  std::array<DateText, 12> samples;
  for (std::size_t month = 0; month < samples.size(); ++month) {
    samples[month] = scribe.sample(std::chrono::year(MonthTexts::kYear) / static_cast<int>(month + 1) /
                                   std::chrono::day(MonthTexts::kDay));
  }
  auto texts = MonthTexts::make(std::move(samples), locale);
  return texts && agree(*texts, scribe) ? std::move(texts) : std::nullopt;
}

}  // namespace

struct DateFormatter::Data {
  Data(std::string_view dateFormat, const Locale& inLocale) : pattern(dateFormat), locale(inLocale) {}

  std::string pattern;
  Locale locale;
  std::optional<WorkingCopies<Scribe>> scribes;  // absent where the pattern means nothing
  std::optional<MonthTexts> months;
};

DateFormatter::DateFormatter(std::string_view dateFormat, const Locale& locale) {
  auto data = std::make_shared<Data>(dateFormat, locale);
  if (auto scribe = Scribe::make(dateFormat, locale)) {
    data->scribes.emplace(std::move(scribe));
    data->months = monthTexts(dateFormat, locale, *data->scribes->borrow());
  }
  data_ = std::move(data);
}

const std::string& DateFormatter::dateFormat() const noexcept {
  return data_->pattern;
}

const Locale& DateFormatter::locale() const noexcept {
  return data_->locale;
}

std::string DateFormatter::string(Date from) const {
  if (!data_->scribes || !std::isfinite(from.time_since_epoch().count())) return {};
  const TimeZone zone = TimeZone::deviceZone();
  if (data_->months) {
    if (auto text = data_->months->text(zone.wallClock(from))) return *std::move(text);
  }
  return data_->scribes->borrow()->text(from, zone);
}

std::optional<Date> DateFormatter::date(std::string_view from) const {
  if (!data_->scribes || from.size() > kLongestText) return {};
  const TimeZone zone = TimeZone::deviceZone();
  if (data_->months) {
    if (const auto wallClock = data_->months->wallClock(from)) return zone.firstMoment(*wallClock);
  }
  return data_->scribes->borrow()->date(from, zone);
}

}  // namespace tq
