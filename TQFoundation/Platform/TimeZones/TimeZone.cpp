#include "TQFoundation/Platform/TimeZones/TimeZone.h"

#include <unicode/basictz.h>
#include <unicode/timezone.h>
#include <unicode/tztrans.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include "TQFoundation/Platform/Base/Environment.h"
#include "TQFoundation/Platform/Base/NeverDestroyed.h"
#include "TQFoundation/Platform/Files/SettingsFile.h"
#include "TQFoundation/Platform/TimeZones/ZoneRules.h"

namespace tq {

namespace fs = std::filesystem;

struct TimeZone::Data {
  std::string identifier;
  ZoneRules rules;
};

namespace {

constexpr const char* kMachineZone = "/etc/localtime";
constexpr std::size_t kLongestName = 255;
constexpr double kMillisecondsPerSecond = 1000;
constexpr double kFarthestSecond = 1e15;  // beyond all calendars, and safe to count with

ZoneSeconds secondOf(Date date) {
  const double second = std::floor(date.time_since_epoch().count() / kMillisecondsPerSecond);
  return std::isnan(second) ? 0
                            : static_cast<ZoneSeconds>(std::clamp(second, -kFarthestSecond, kFarthestSecond));
}

fs::path databaseFolder() {
  const fs::path folder = environmentVariable("TZDIR").value_or("");
  return folder.is_absolute() ? folder : "/usr/share/zoneinfo";
}

std::optional<ZoneRules> rulesIn(const fs::path& file) {
  return ZoneRules::ofFile(readSettingsFile(file).value_or(""));
}

/// Names come from the environment: they are to stay within the folder.
bool isName(std::string_view text) {
  const auto belongs = [](unsigned char c) {
    return std::isalnum(c) != 0 ||
           std::string_view("_+-/").find(static_cast<char>(c)) != std::string_view::npos;
  };
  return !text.empty() && text.size() <= kLongestName && text.front() != '/' &&
         std::all_of(text.begin(), text.end(), belongs);
}

/// The database's folders "posix" and "right" hold every zone again.
std::string_view withoutVariant(std::string_view name) {
  for (const std::string_view folder : {"posix/", "right/"}) {
    if (name.starts_with(folder)) name.remove_prefix(folder.size());
  }
  return name;
}

/// "Europe/Kyiv" for a path that ends so beneath a folder "zoneinfo"; empty for any other.
std::string nameBeneathDatabase(const fs::path& path) {
  const std::string name = path.lexically_normal();
  constexpr std::string_view kFolder = "/zoneinfo/";
  const std::size_t folder = name.rfind(kFolder);
  if (folder == std::string::npos) return {};
  return std::string(withoutVariant(std::string_view(name).substr(folder + kFolder.size())));
}

/// ICU's own rules, where there is no file: on systems without a zone database, and for names it lacks.
std::optional<ZoneRules> rulesOfICU(std::string_view identifier) {
  const auto name =
      icu::UnicodeString::fromUTF8({identifier.data(), static_cast<int32_t>(identifier.size())});
  const std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(name));
  const auto* const basic = dynamic_cast<const icu::BasicTimeZone*>(zone.get());
  if (basic == nullptr || *zone == icu::TimeZone::getUnknown()) return {};
  const auto offsetAt = [&](double time) {
    int32_t standard = 0;
    int32_t saving = 0;
    UErrorCode status = U_ZERO_ERROR;
    zone->getOffset(time, 0, standard, saving, status);
    return ZoneRules::Offset{.seconds = (standard + saving) / 1000, .daylightSaving = saving != 0};
  };
  constexpr double kYear2040 = 2'208'988'800'000;
  constexpr double kEnough = kYear2040 + 401 * 31'556'952'000.0;
  double time = -1e15;
  ZoneRules rules(offsetAt(time));
  icu::TimeZoneTransition transition;
  while (time < kEnough && basic->getNextTransition(time, 0, transition)) {
    time = transition.getTime();
    rules.add(static_cast<ZoneSeconds>(time / kMillisecondsPerSecond), offsetAt(time));
  }
  if (time >= kEnough) rules.repeat();
  return rules;
}

}  // namespace

TimeZone TimeZone::with(std::string identifier, ZoneRules rules) {
  return TimeZone(std::make_shared<const Data>(Data{std::move(identifier), std::move(rules)}));
}

std::optional<TimeZone> TimeZone::make(std::string_view identifier) {
  if (!isName(identifier)) return {};
  auto rules = rulesIn(databaseFolder() / identifier);
  if (!rules) rules = rulesOfICU(identifier);
  if (!rules) return {};
  return with(std::string(identifier), *std::move(rules));
}

const TimeZone& TimeZone::utc() {
  static const NeverDestroyed<TimeZone> zone(with("UTC", ZoneRules()));
  return *zone;
}

TimeZone TimeZone::ofVariable(std::string_view value) {
  if (value.starts_with(':')) value.remove_prefix(1);
  if (value.empty() || value.size() > kLongestName) return utc();
  if (value == kMachineZone) return ofSystem(kMachineZone);
  const bool isPath = value.front() == '/';
  const std::string name = isPath ? nameBeneathDatabase(value) : std::string(withoutVariant(value));
  const fs::path file = isPath ? fs::path(value) : databaseFolder() / name;
  if (isName(name)) {
    if (auto rules = rulesIn(file)) return with(name, *std::move(rules));
  }
  std::error_code error;
  if (isPath && !fs::exists(file, error)) return utc();
  // "GMT+3" is behind UTC as a rule of POSIX, and ahead of it as a name that ICU knows.
  if (auto rules = ZoneRules::ofPosix(value)) return with(std::string(value), *std::move(rules));
  return make(name).value_or(utc());
}

TimeZone TimeZone::ofSystem(const fs::path& file) {
  std::error_code error;
  std::string name = nameBeneathDatabase(fs::canonical(file, error));
  if (name.empty()) {
    std::ifstream said("/etc/timezone");
    std::getline(said, name);
  }
  if (auto rules = rulesIn(file)) return with(isName(name) ? name : "localtime", *std::move(rules));
  return make(name).value_or(utc());
}

const std::string& TimeZone::identifier() const noexcept {
  return data_->identifier;
}

std::chrono::seconds TimeZone::offset(Date date) const {
  return std::chrono::seconds(data_->rules.offsetAt(secondOf(date)).seconds);
}

bool TimeZone::isDaylightSavingTime(Date date) const {
  return data_->rules.offsetAt(secondOf(date)).daylightSaving;
}

Date TimeZone::firstMoment(Date wallClock) const {
  const double shown = wallClock.time_since_epoch().count();
  if (!(std::abs(shown) < kFarthestSecond * kMillisecondsPerSecond)) return wallClock;
  const ZoneSeconds second = secondOf(wallClock);
  const ZoneSeconds moment = data_->rules.firstMoment(second);
  const auto of = [](ZoneSeconds s) { return Date(std::chrono::duration<double>(static_cast<double>(s))); };
  // Within a skipped stretch the fraction of the second is skipped, too.
  if (moment + data_->rules.offsetAt(moment).seconds != second) return of(moment);
  return wallClock + std::chrono::seconds(moment - second);
}

bool operator==(const TimeZone& one, const TimeZone& other) noexcept {
  if (one.data_ == other.data_) return true;
  return one.data_->identifier == other.data_->identifier && one.data_->rules == other.data_->rules;
}

}  // namespace tq
