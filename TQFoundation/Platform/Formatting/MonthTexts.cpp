#include "TQFoundation/Platform/Formatting/MonthTexts.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <set>
#include <utility>

#include "TQFoundation/Platform/Localization/LocaleDigits.h"

namespace tq {
namespace {

using Days = std::chrono::duration<double, std::chrono::days::period>;
using std::chrono::sys_days;

constexpr Date kBegin = sys_days(std::chrono::year(1600) / 1 / 1);
constexpr Date kEnd = sys_days(std::chrono::year(10'000) / 1 / 1);

bool isPadded(const DateText::Number& number, std::size_t digitSize) {
  const std::size_t size = number.end - number.begin;
  const std::size_t least = number.kind == DateText::Number::Kind::day ? 2 : 4;
  return size % digitSize == 0 && size / digitSize >= least;
}

bool tellsYearOnce(const DateText& sample) {
  const auto count = [&](DateText::Number::Kind kind) {
    return std::count_if(sample.numbers.begin(), sample.numbers.end(),
                         [&](const auto& number) { return number.kind == kind; });
  };
  return count(DateText::Number::Kind::year) == 1 && count(DateText::Number::Kind::day) <= 1;
}

// The samples have the same numbers in them, so what differs is what tells the months apart.
bool areUnique(const std::array<DateText, 12>& samples) {
  std::set<std::string_view> texts;
  for (const DateText& sample : samples) texts.insert(sample.text);
  return texts.size() == samples.size() && std::all_of(samples.begin(), samples.end(), tellsYearOnce);
}

}  // namespace

MonthTexts::MonthTexts(std::array<DateText, 12> samples, std::array<std::string, 10> digits)
    : samples_(std::move(samples)), digits_(std::move(digits)), areUnique_(areUnique(samples_)) {}

std::optional<MonthTexts> MonthTexts::make(std::array<DateText, 12> samples, const Locale& locale) {
  auto digits = localeDigits(locale);
  const std::size_t size = digits[0].size();
  if (std::any_of(digits.begin(), digits.end(), [&](const auto& digit) { return digit.size() != size; }))
    return {};
  for (const DateText& sample : samples) {
    for (const auto& number : sample.numbers) {
      if (!isPadded(number, size)) return {};
    }
  }
  return MonthTexts(std::move(samples), std::move(digits));
}

std::optional<std::string> MonthTexts::text(Date wallClock) const {
  if (!(wallClock >= kBegin && wallClock < kEnd)) return {};
  const std::chrono::days day(static_cast<int>(std::floor(Days(wallClock.time_since_epoch()).count())));
  const std::chrono::year_month_day civil{sys_days(day)};
  const DateText& sample = samples_[unsigned{civil.month()} - 1];
  std::string text = sample.text;
  for (const auto& number : sample.numbers) {
    const bool isDay = number.kind == DateText::Number::Kind::day;
    write(isDay ? unsigned{civil.day()} : static_cast<unsigned>(int{civil.year()}), number, text);
  }
  return text;
}

void MonthTexts::write(unsigned value, const DateText::Number& number, std::string& text) const {
  const std::size_t size = digits_[0].size();
  for (std::size_t place = number.end; place > number.begin; value /= 10) {
    place -= size;
    const std::string& digit = digits_[value % 10];
    std::copy(digit.begin(), digit.end(), text.begin() + static_cast<std::ptrdiff_t>(place));
  }
}

std::optional<unsigned> MonthTexts::read(std::string_view number) const {
  unsigned value = 0;
  const std::size_t size = digits_[0].size();
  for (; !number.empty(); number.remove_prefix(size)) {
    const auto digit = std::find(digits_.begin(), digits_.end(), number.substr(0, size));
    if (digit == digits_.end()) return {};
    value = value * 10 + static_cast<unsigned>(digit - digits_.begin());
  }
  return value;
}

std::optional<Date> MonthTexts::wallClock(std::string_view text) const {
  if (!areUnique_) return {};
  for (unsigned month = 1; month <= samples_.size(); ++month) {
    if (const auto date = wallClock(text, month)) return date;
  }
  return {};
}

std::optional<Date> MonthTexts::wallClock(std::string_view text, unsigned month) const {
  const std::string_view sample = samples_[month - 1].text;
  if (text.size() != sample.size()) return {};
  unsigned day = 1;
  unsigned year = 0;
  std::size_t end = 0;
  for (const auto& number : samples_[month - 1].numbers) {
    if (text.substr(end, number.begin - end) != sample.substr(end, number.begin - end)) return {};
    end = number.end;
    const auto value = read(text.substr(number.begin, end - number.begin));
    if (!value) return {};
    (number.kind == DateText::Number::Kind::day ? day : year) = *value;
  }
  if (text.substr(end) != sample.substr(end)) return {};
  const auto civil =
      std::chrono::year(static_cast<int>(year)) / static_cast<int>(month) / static_cast<int>(day);
  const Date date = sys_days(civil);
  return civil.ok() && date >= kBegin && date < kEnd ? std::optional(date) : std::nullopt;
}

}  // namespace tq
