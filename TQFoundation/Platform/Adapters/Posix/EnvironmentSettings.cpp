#include "TQFoundation/Platform/Adapters/Posix/EnvironmentSettings.h"

#include <sys/stat.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "TQFoundation/Platform/Base/Environment.h"
#include "TQFoundation/Platform/Base/NeverDestroyed.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"

namespace tq {
namespace {

constexpr std::chrono::seconds kBetweenLooks{1};

std::string_view firstOf(std::initializer_list<const char*> variables) {
  for (const char* const variable : variables) {
    const auto value = environmentVariable(variable).value_or("");
    if (!value.empty()) return value;
  }
  return {};
}

// A language's name as in "de_AT.UTF-8@euro": what follows it says nothing about the language.
void appendLanguage(std::vector<std::string>& languages, std::string_view name) {
  name = name.substr(0, name.find_first_of(".@"));
  if (!name.empty() && name != "C" && name != "POSIX") languages.emplace_back(name);
}

std::vector<std::string> languagesOf(std::string_view list, std::string_view messages) {
  std::vector<std::string> languages;
  while (!list.empty()) {
    const std::size_t end = list.find(':');
    appendLanguage(languages, list.substr(0, end));
    list.remove_prefix(end == std::string_view::npos ? list.size() : end + 1);
  }
  appendLanguage(languages, messages);
  return languages;
}

bool areEqual(const UserSettings& one, const UserSettings& other) {
  const auto all = [](const UserSettings& settings) {
    return std::tie(settings.languages, settings.dates, settings.numbers, settings.messages,
                    settings.timeZone);
  };
  return all(one) == all(other);
}

UserSettings readEnvironment(const std::filesystem::path& zoneFile) {
  const std::string_view messages = firstOf({"LC_ALL", "LC_MESSAGES", "LANG"});
  const auto zone = environmentVariable("TZ");
  return {.languages = languagesOf(environmentVariable("LANGUAGE").value_or(""), messages),
          .dates = Locale::ofSystemName(firstOf({"LC_ALL", "LC_TIME", "LANG"})),
          .numbers = Locale::ofSystemName(firstOf({"LC_ALL", "LC_NUMERIC", "LANG"})),
          .messages = Locale::ofSystemName(messages),
          .timeZone = zone ? TimeZone::ofVariable(*zone) : TimeZone::ofSystem(zoneFile)};
}

}  // namespace

EnvironmentSettings::EnvironmentSettings(std::filesystem::path zoneFile) : zoneFile_(std::move(zoneFile)) {
  refresh();
}

EnvironmentSettings::FileStamp EnvironmentSettings::stampOf(const std::filesystem::path& file) {
  struct stat link {};
  struct stat target {};
  if (::lstat(file.c_str(), &link) != 0) link = {};
  if (::stat(file.c_str(), &target) != 0) target = {};
  FileStamp stamp{};
  auto at = stamp.begin();
  for (const auto& each : {link, target}) {
    for (const auto value : {static_cast<std::int64_t>(each.st_dev), static_cast<std::int64_t>(each.st_ino),
                             std::int64_t{each.st_mtim.tv_sec}, std::int64_t{each.st_mtim.tv_nsec}})
      *at++ = value;
  }
  return stamp;
}

void EnvironmentSettings::refresh() {
  {
    const MutexLock lock(mutex_);
    // The stamp comes first: a change between the two is then noticed by the next look.
    stamp_ = stampOf(zoneFile_);
    nextLook_ = Clock::now() + kBetweenLooks;
    followsFile_ = !environmentVariable("TZ");
    auto read = std::make_shared<const UserSettings>(readEnvironment(zoneFile_));
    if (settings_ != nullptr && areEqual(*settings_, *read)) return;
    settings_ = std::move(read);
  }
  observers_.notify();
}

bool EnvironmentSettings::lookAtZoneFile() const {
  nextLook_ = Clock::now() + kBetweenLooks;
  const FileStamp stamp = stampOf(zoneFile_);
  if (!followsFile_ || stamp == stamp_) return false;
  stamp_ = stamp;
  auto changed = std::make_shared<UserSettings>(*settings_);
  changed->timeZone = TimeZone::ofSystem(zoneFile_);
  if (changed->timeZone == settings_->timeZone) return false;
  settings_ = std::move(changed);
  return true;
}

std::shared_ptr<const UserSettings> EnvironmentSettings::current() const {
  MutexLock lock(mutex_);
  if (!followsFile_ || Clock::now() < nextLook_ || !lookAtZoneFile()) return settings_;
  auto changed = settings_;
  lock.unlock();
  observers_.notify();
  return changed;
}

Subscription EnvironmentSettings::observe(std::shared_ptr<DispatchQueue> queue,
                                          std::function<void()> changed) {
  auto subscription = observers_.add(std::move(queue), std::move(changed));
  const MutexLock lock(mutex_);
  if (!std::exchange(looksEachSecond_, true)) lookEachSecond();
  return subscription;
}

// Each look arms the next one, and only while there are subscriptions: without them nothing wakes up.
void EnvironmentSettings::lookEachSecond() {
  DispatchQueue::global()->after(kBetweenLooks, [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (self == nullptr) return;
    static_cast<void>(self->current());
    const MutexLock lock(self->mutex_);
    self->looksEachSecond_ = !self->observers_.isEmpty();
    if (self->looksEachSecond_) self->lookEachSecond();
  });
}

const std::shared_ptr<UserSettingsSource>& UserSettingsSource::shared() {
  static const NeverDestroyed<std::shared_ptr<UserSettingsSource>> settings(
      std::make_shared<EnvironmentSettings>());
  return *settings;
}

}  // namespace tq
