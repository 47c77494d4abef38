// Reads what zone databases and the environment say: compiled zone files (RFC 9636) and the rules that POSIX
// describes for the variable TZ.

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "TQFoundation/Platform/TimeZones/ZoneRules.h"

namespace tq {
namespace {

using Offset = ZoneRules::Offset;

constexpr std::int32_t kHour = 3600;
constexpr ZoneSeconds kDay = 86'400;

/// A day of each year, and the time at which clocks change.
struct YearlyChange {
  enum class Kind { monthWeekWeekday, dayFrom1WithoutLeapDay, dayFrom0 };
  Kind kind;
  int month = 0;
  int week = 0;
  int day = 0;  // of the week, from Sunday = 0, or of the year
  std::int32_t time = 2 * kHour;

  /// What a clock shows then, as seconds since 1970 in that clock's own time.
  [[nodiscard]] ZoneSeconds in(int year) const {
    using namespace std::chrono;
    const auto days = [](sys_days date) { return ZoneSeconds{date.time_since_epoch().count()} * kDay; };
    const auto y = std::chrono::year(year);
    if (kind == Kind::monthWeekWeekday) {
      const auto m = y / std::chrono::month(static_cast<unsigned>(month));
      const weekday wanted(static_cast<unsigned>(day));
      return time + (week == 5 ? days(sys_days(m / wanted[last]))
                               : days(sys_days(m / wanted[static_cast<unsigned>(week)])));
    }
    const bool pastLeapDay = kind == Kind::dayFrom1WithoutLeapDay && y.is_leap() && day >= 60;
    const int fromZero = kind == Kind::dayFrom0 ? day : day - 1 + (pastLeapDay ? 1 : 0);
    return time + days(sys_days(y / January / 1)) + fromZero * kDay;
  }
};

struct PosixRule {
  Offset standard;
  std::optional<Offset> summer;
  YearlyChange begin{};
  YearlyChange end{};
};

/// Takes a POSIX rule apart, front to back.
class PosixReader {
 public:
  explicit PosixReader(std::string_view text) : rest_(text) {}

  std::optional<PosixRule> read() {
    PosixRule rule;
    if (!name()) return {};
    const auto standard = time(kLongestOffset);
    if (!standard) return {};
    rule.standard = {.seconds = -*standard};
    if (rest_.empty()) return rule;
    if (!name()) return {};
    rule.summer = Offset{.seconds = rule.standard.seconds + kHour, .daylightSaving = true};
    if (!rest_.empty() && rest_.front() != ',') {
      const auto summer = time(kLongestOffset);
      if (!summer) return {};
      rule.summer->seconds = -*summer;
    }
    if (rest_.empty() || rest_ == ",")
      rest_ = ",M3.2.0,M11.1.0";  // what the C library takes where nothing is said
    return readYear(rule);
  }

 private:
  static constexpr int kLongestOffset = 24;
  static constexpr int kLongestTime = 167;

  std::optional<PosixRule> readYear(PosixRule rule) {
    const auto begin = yearlyChange();
    const auto end = begin ? yearlyChange() : std::nullopt;
    if (!end || !rest_.empty()) return {};
    rule.begin = *begin;
    rule.end = *end;
    return rule;
  }

  bool take(char wanted) {
    if (rest_.empty() || rest_.front() != wanted) return false;
    rest_.remove_prefix(1);
    return true;
  }

  bool name() {
    const bool quoted = take('<');
    const auto belongs = [quoted](unsigned char c) {
      return std::isalpha(c) != 0 || (quoted && (std::isdigit(c) != 0 || c == '+' || c == '-'));
    };
    const auto end = std::find_if_not(rest_.begin(), rest_.end(), belongs);
    const auto length = static_cast<std::size_t>(end - rest_.begin());
    rest_.remove_prefix(length);
    return length >= 3 && (!quoted || take('>'));
  }

  std::optional<int> number(int most) {
    int value = 0;
    std::size_t digits = 0;
    while (digits < rest_.size() && std::isdigit(static_cast<unsigned char>(rest_[digits])) != 0) {
      value = value * 10 + (rest_[digits++] - '0');
      if (value > most) return {};
    }
    rest_.remove_prefix(digits);
    return digits == 0 ? std::nullopt : std::optional(value);
  }

  std::optional<std::int32_t> time(int mostHours) {
    const int sign = take('-') ? -1 : 1;
    if (sign == 1) take('+');
    const auto hours = number(mostHours);
    if (!hours) return {};
    std::int32_t seconds = *hours * kHour;
    for (const std::int32_t unit : {60, 1}) {
      if (!take(':')) break;
      const auto part = number(59);
      if (!part) return {};
      seconds += *part * unit;
    }
    return sign * seconds;
  }

  std::optional<YearlyChange> yearlyChange() {
    if (!take(',')) return {};
    auto change = take('M') ? monthWeekWeekday() : dayOfYear();
    if (change && take('/')) {
      const auto at = time(kLongestTime);
      if (!at) return {};
      change->time = *at;
    }
    return change;
  }

  std::optional<YearlyChange> monthWeekWeekday() {
    std::array<int, 3> parts{};
    for (std::size_t i = 0; i < parts.size(); ++i) {
      if (i > 0 && !take('.')) return {};
      const auto part = number(std::array{12, 5, 6}[i]);
      if (!part || (i < 2 && *part == 0)) return {};
      parts[i] = *part;
    }
    return YearlyChange{
        .kind = YearlyChange::Kind::monthWeekWeekday, .month = parts[0], .week = parts[1], .day = parts[2]};
  }

  std::optional<YearlyChange> dayOfYear() {
    const bool skipsLeapDay = take('J');
    const auto day = number(365);
    if (!day || (skipsLeapDay && *day == 0)) return {};
    return YearlyChange{
        .kind = skipsLeapDay ? YearlyChange::Kind::dayFrom1WithoutLeapDay : YearlyChange::Kind::dayFrom0,
        .day = *day};
  }

  std::string_view rest_;
};

/// Reads numbers, most significant byte first, and knows where it stands.
class ByteReader {
 public:
  explicit ByteReader(std::string_view bytes) : rest_(bytes) {}

  std::optional<std::string_view> take(std::size_t count) {
    if (rest_.size() < count) return {};
    const std::string_view taken = rest_.substr(0, count);
    rest_.remove_prefix(count);
    return taken;
  }
  [[nodiscard]] std::string_view rest() const { return rest_; }

  static std::int64_t number(std::string_view bytes) {
    std::uint64_t value = 0;
    for (const char byte : bytes) value = value << 8 | static_cast<unsigned char>(byte);
    const auto unused = 64 - 8 * bytes.size();
    return static_cast<std::int64_t>(value << unused) >> unused;
  }

 private:
  std::string_view rest_;
};

/// The counts in the head of a file's block.
struct ZoneFileHead {
  char version = '\0';
  std::size_t leaps = 0;
  std::size_t times = 0;
  std::size_t types = 0;
  std::size_t others = 0;  // bytes that are of no use here

  static std::optional<ZoneFileHead> read(ByteReader& bytes, std::size_t timeSize) {
    const auto head = bytes.take(44);
    if (!head || head->substr(0, 4) != "TZif") return {};
    std::array<std::size_t, 6> counts{};
    for (std::size_t i = 0; i < counts.size(); ++i) {
      const std::int64_t count = ByteReader::number(head->substr(20 + 4 * i, 4));
      if (count < 0 || count > 100'000) return {};
      counts[i] = static_cast<std::size_t>(count);
    }
    const auto [utcMarks, wallMarks, leaps, times, types, characters] = counts;
    return ZoneFileHead{.version = (*head)[4],
                        .leaps = leaps,
                        .times = times,
                        .types = types,
                        .others = characters + leaps * (timeSize + 4) + wallMarks + utcMarks};
  }
};

std::optional<std::vector<Offset>> readTypes(std::string_view bytes) {
  std::vector<Offset> types;
  for (; bytes.size() >= 6; bytes.remove_prefix(6)) {
    const std::int64_t seconds = ByteReader::number(bytes.substr(0, 4));
    if (seconds < -ZoneRules::kFarthestOffset || seconds > ZoneRules::kFarthestOffset) return {};
    types.push_back({.seconds = static_cast<std::int32_t>(seconds), .daylightSaving = bytes[4] != 0});
  }
  return types.empty() ? std::nullopt : std::optional(std::move(types));
}

std::optional<ZoneRules> readBlock(ByteReader& bytes, const ZoneFileHead& head, std::size_t timeSize) {
  const auto times = bytes.take(head.times * timeSize);
  const auto kinds = bytes.take(head.times);
  const auto typeBytes = bytes.take(head.types * 6);
  if (!times || !kinds || !typeBytes || !bytes.take(head.others) || head.leaps != 0) return {};
  const auto types = readTypes(*typeBytes);
  if (!types) return {};
  // Before the first change the first standard time was in force.
  const auto standard =
      std::find_if(types->begin(), types->end(), [](Offset o) { return !o.daylightSaving; });
  ZoneRules rules(standard != types->end() ? *standard : types->front());
  for (std::size_t i = 0; i < head.times; ++i) {
    const ZoneSeconds time = ByteReader::number(times->substr(i * timeSize, timeSize));
    const auto kind = static_cast<unsigned char>((*kinds)[i]);
    if (kind >= types->size() || time <= -ZoneRules::kForever || time >= ZoneRules::kForever) return {};
    rules.add(time, (*types)[kind]);
  }
  return rules;
}

}  // namespace

std::optional<ZoneRules> ZoneRules::ofFile(std::string_view bytes) {
  ByteReader reader(bytes);
  auto head = ZoneFileHead::read(reader, 4);
  if (!head) return {};
  if (head->version == '\0') return readBlock(reader, *head, 4);
  // From version 2 on a second block follows, which counts in 64 bits, and then the rule for later years.
  if (!reader.take(head->times * 5 + head->types * 6 + head->others)) return {};
  head = ZoneFileHead::read(reader, 8);
  if (!head) return {};
  auto rules = readBlock(reader, *head, 8);
  std::string_view footer = reader.rest();
  if (!rules || footer.size() < 2 || footer.front() != '\n') return rules;
  footer = footer.substr(1, footer.find('\n', 1) - 1);
  if (!footer.empty()) rules->addPosix(footer);
  return rules;
}

std::optional<ZoneRules> ZoneRules::ofPosix(std::string_view rule) {
  auto read = PosixReader(rule).read();
  if (!read) return {};
  ZoneRules rules(read->standard);
  rules.addPosix(rule);
  return rules;
}

bool ZoneRules::addPosix(std::string_view text) {
  const auto rule = PosixReader(text).read();
  if (!rule) return false;
  const ZoneSeconds known = changes_.empty() ? -kForever : changes_.back().time;
  if (!rule->summer) {
    if (!changes_.empty()) add(known + 1, rule->standard);
    return true;
  }
  constexpr ZoneSeconds kMeanYear = 31'556'952;
  const auto firstYear = static_cast<int>(std::clamp<ZoneSeconds>(1969 + known / kMeanYear, 1900, 30'000));
  std::vector<Change> changes;
  for (int year = firstYear; year <= firstYear + 403; ++year) {
    changes.push_back({rule->begin.in(year)-rule->standard.seconds, *rule->summer});
    changes.push_back({rule->end.in(year)-rule->summer->seconds, rule->standard});
  }
  std::stable_sort(changes.begin(), changes.end(), [](const Change& one, const Change& other) {
    return std::pair(one.time, one.offset.daylightSaving) <
           std::pair(other.time, other.offset.daylightSaving);
  });
  const std::size_t before = changes_.size();
  for (const Change& change : changes) {
    if (change.time > known) add(change.time, change.offset);
  }
  repeats_ = changes_.size() > before + 2;
  return true;
}

}  // namespace tq
