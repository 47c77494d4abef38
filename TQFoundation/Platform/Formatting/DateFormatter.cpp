#include "TQFoundation/Platform/Formatting/DateFormatter.h"

#include <unicode/calendar.h>
#include <unicode/fpositer.h>
#include <unicode/locid.h>
#include <unicode/parsepos.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "TQFoundation/Platform/Base/ObjectPool.h"
#include "TQFoundation/Platform/TimeZones/IcuTimeZone.h"
#include "TQFoundation/Platform/TimeZones/TimeZone.h"

namespace tq {
namespace {

constexpr std::size_t kLongestText = 4096;

icu::UnicodeString fromUTF8(std::string_view text) {
  return icu::UnicodeString::fromUTF8({text.data(), static_cast<int32_t>(text.size())});
}

std::string toUTF8(const icu::UnicodeString& text) {
  std::string result;
  text.toUTF8String(result);
  return result;
}

bool namesZone(std::string_view pattern) {
  bool isQuoted = false;
  return std::any_of(pattern.begin(), pattern.end(), [&](char c) {
    if (c == '\'') isQuoted = !isQuoted;
    return !isQuoted && std::string_view("zZOvVXx").find(c) != std::string_view::npos;
  });
}

/// Returns where the zone stands in a text with these fields, or the text's length.
std::int32_t zoneBegin(icu::FieldPositionIterator& fields, const icu::UnicodeString& text) {
  icu::FieldPosition field;
  while (fields.next(field) != 0) {
    switch (field.getField()) {
      case UDAT_TIMEZONE_FIELD:
      case UDAT_TIMEZONE_RFC_FIELD:
      case UDAT_TIMEZONE_GENERIC_FIELD:
      case UDAT_TIMEZONE_SPECIAL_FIELD:
      case UDAT_TIMEZONE_LOCALIZED_GMT_OFFSET_FIELD:
      case UDAT_TIMEZONE_ISO_FIELD:
      case UDAT_TIMEZONE_ISO_LOCAL_FIELD:
        return field.getBeginIndex();
      default:
        break;
    }
  }
  return text.length();
}

bool isDigit(UChar32 c) {
  constexpr UChar32 kBeyondASCII = 0x80;
  return c < kBeyondASCII ? c >= '0' && c <= '9' : u_isdigit(c) != 0;
}

/// Calls `found` with the number of digits of each number in the first `length` units of `text`.
template <class Found>
void forEachNumber(const icu::UnicodeString& text, std::int32_t length, const Found& found) {
  int digits = 0;
  for (std::int32_t at = 0; at < length; at = text.moveIndex32(at, 1)) {
    if (isDigit(text.char32At(at))) {
      ++digits;
    } else if (digits > 0) {
      found(std::exchange(digits, 0));
    }
  }
  if (digits > 0) found(digits);
}

/// ICU's formatter of a pattern, and the calendar it counts with.
///
/// The calendar stays in UTC and is given what wall clocks show, so it need not be reconfigured when the
/// device's zone changes. Only for a pattern that names the zone it is set to that zone.
///
/// Not thread-safe: one thread at a time.
class IcuDateFormat {
 public:
  /// Returns null where the pattern has a letter without a meaning.
  static std::unique_ptr<const IcuDateFormat> make(std::string_view pattern, const Locale& locale) {
    const icu::Locale name(locale.identifier().c_str());
    UErrorCode status = U_ZERO_ERROR;
    // A zone of ICU's database: `TimeZone::getGMT()` splits each date into fields to find its offset.
    std::unique_ptr<icu::Calendar> calendar(
        icu::Calendar::createInstance(icu::TimeZone::createTimeZone("Etc/UTC"), name, status));
    auto format = std::make_unique<icu::SimpleDateFormat>(fromUTF8(pattern), name, status);
    if (U_FAILURE(status)) return nullptr;
    calendar->setLenient(false);
    format->setLenient(false);
    auto result = std::make_unique<IcuDateFormat>(std::move(format), std::move(calendar), namesZone(pattern));
    return result->measureShortestNumbers() ? std::move(result) : nullptr;
  }

  IcuDateFormat(std::unique_ptr<icu::SimpleDateFormat> format, std::unique_ptr<icu::Calendar> calendar,
                bool namesZone)
      : format_(std::move(format)), calendar_(std::move(calendar)), namesZone_(namesZone) {
    if (namesZone_) internal::readZonesByOurRules(*format_);
  }

  [[nodiscard]] IcuDateFormat* clone() const {
    auto copy =
        std::make_unique<IcuDateFormat>(std::unique_ptr<icu::SimpleDateFormat>(format_->clone()),
                                        std::unique_ptr<icu::Calendar>(calendar_->clone()), namesZone_);
    copy->shortestNumbers_ = shortestNumbers_;
    return copy.release();
  }

  std::string text(Date date, const TimeZone& zone) {
    if (namesZone_) calendar_->adoptTimeZone(internal::icuTimeZone(zone).release());
    const Date shown = namesZone_ ? date : zone.wallClock(date);
    UErrorCode status = U_ZERO_ERROR;
    calendar_->setTime(shown.time_since_epoch().count(), status);
    icu::UnicodeString text;
    if (U_SUCCESS(status)) format_->format(*calendar_, text, nullptr, status);
    return U_SUCCESS(status) ? toUTF8(text) : std::string();
  }

  std::optional<Date> date(std::string_view from, const TimeZone& zone) {
    if (namesZone_) calendar_->adoptTimeZone(internal::icuTimeZone(zone).release());
    calendar_->clear();
    const icu::UnicodeString text = fromUTF8(from);
    icu::ParsePosition position(0);
    format_->parse(text, *calendar_, position);
    if (position.getErrorIndex() >= 0 || position.getIndex() != text.length() || hasShortNumber(text))
      return {};
    UErrorCode status = U_ZERO_ERROR;
    if (!namesZone_) {
      const Date wallClock{Date::duration(calendar_->getTime(status))};
      return U_SUCCESS(status) ? std::optional(zone.firstMoment(wallClock)) : std::nullopt;
    }
    const std::unique_ptr<icu::Calendar> inUTC(calendar_->clone());
    inUTC->set(UCAL_ZONE_OFFSET, 0);
    inUTC->set(UCAL_DST_OFFSET, 0);
    const Date wallClock{Date::duration(inUTC->getTime(status))};
    const Date read{Date::duration(calendar_->getTime(status))};
    if (U_FAILURE(status)) return {};
    // Many zones share a name; the device's is meant where it goes by that name at the time.
    const Date here = zone.firstMoment(wallClock);
    return this->text(here, zone) == from ? here : read;
  }

 private:
  /// ICU takes "24" for "yyyy" and "9" for "HH", even when strict. So a date whose numbers are all small is
  /// written once, as short as the pattern allows, and each number that is read must have as many digits. The
  /// zone's digits differ from date to date: they are not counted, nor is what follows them.
  bool measureShortestNumbers() {
    UErrorCode status = U_ZERO_ERROR;
    calendar_->clear();
    calendar_->set(UCAL_YEAR, 2);  // the first year of an era may have a name instead of a number
    icu::UnicodeString text;
    icu::FieldPositionIterator fields;
    format_->format(*calendar_, text, &fields, status);
    forEachNumber(text, zoneBegin(fields, text), [&](int digits) { shortestNumbers_.push_back(digits); });
    return U_SUCCESS(status) != 0;
  }

  [[nodiscard]] bool hasShortNumber(const icu::UnicodeString& text) const {
    std::size_t number = 0;
    bool isShort = false;
    forEachNumber(text, text.length(), [&](int digits) {
      if (number < shortestNumbers_.size() && digits < shortestNumbers_[number]) isShort = true;
      ++number;
    });
    // One month's name alone may have digits ("M11" in kkj): then it is unknown which number is which.
    return isShort && (namesZone_ || number == shortestNumbers_.size());
  }

  std::unique_ptr<icu::SimpleDateFormat> format_;
  std::unique_ptr<icu::Calendar> calendar_;
  bool namesZone_;
  std::vector<int> shortestNumbers_;
};

}  // namespace

struct DateFormatter::Data {
  std::string pattern;
  Locale locale;
  Data(std::string_view dateFormat, const Locale& inLocale) : pattern(dateFormat), locale(inLocale) {}
  std::optional<internal::ObjectPool<IcuDateFormat>> formats;  // absent where the pattern means nothing
};

DateFormatter::DateFormatter(std::string_view dateFormat, const Locale& locale) {
  auto data = std::make_shared<Data>(dateFormat, locale);
  if (auto format = IcuDateFormat::make(dateFormat, locale)) data->formats.emplace(std::move(format));
  data_ = std::move(data);
}

const std::string& DateFormatter::dateFormat() const noexcept {
  return data_->pattern;
}

const Locale& DateFormatter::locale() const noexcept {
  return data_->locale;
}

std::string DateFormatter::string(Date from, const UserSettingsSource& settings) const {
  if (!data_->formats || !std::isfinite(from.time_since_epoch().count())) return {};
  return data_->formats->acquire()->text(from, settings.current()->timeZone);
}

std::optional<Date> DateFormatter::date(std::string_view from, const UserSettingsSource& settings) const {
  if (!data_->formats || from.size() > kLongestText) return {};
  return data_->formats->acquire()->date(from, settings.current()->timeZone);
}

}  // namespace tq
