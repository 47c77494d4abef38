#include "TQFoundation/Platform/Adapters/Linux/LinuxDeviceInfo.h"

#include <sys/utsname.h>

#include <algorithm>
#include <utility>

#include "TQFoundation/Platform/Base/NeverDestroyed.h"
#include "TQFoundation/Platform/Base/Text.h"
#include "TQFoundation/Platform/Files/SettingsFile.h"

namespace tq {
namespace internal {
namespace {

constexpr std::size_t kLongestVersion = 64;

// No version holds a character that would need a backslash, so quotes are all there is to take away.
std::string_view unquoted(std::string_view value) {
  const bool quoted = value.size() >= 2 && (value[0] == '"' || value[0] == '\'') && value[0] == value.back();
  return quoted ? value.substr(1, value.size() - 2) : value;
}

bool isVersionCharacter(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' || c == '_' ||
         c == '-';
}

bool isVersion(std::string_view text) {
  return text.size() <= kLongestVersion && std::all_of(text.begin(), text.end(), isVersionCharacter);
}

utsname systemNames() {
  utsname names{};
  return ::uname(&names) == 0 ? names : utsname{};
}

}  // namespace

std::string versionInOsRelease(std::string_view text) {
  constexpr std::string_view kKey = "VERSION_ID=";
  std::string_view version;
  while (!text.empty()) {
    const std::string_view line = trimmed(takeLine(text));
    if (line.starts_with(kKey)) version = unquoted(line.substr(kKey.size()));
  }
  return isVersion(version) ? std::string(version) : std::string();
}

LinuxDeviceInfo::LinuxDeviceInfo(std::string osRelease, std::string fallback)
    : osRelease_(std::move(osRelease)), fallback_(std::move(fallback)) {}

std::string LinuxDeviceInfo::hardwareIdentifier() const {
  return systemNames().machine;
}

std::string LinuxDeviceInfo::systemVersion() const {
  auto text = readSettingsFile(osRelease_);
  if (!text) text = readSettingsFile(fallback_);
  std::string version = versionInOsRelease(text.value_or(""));
  return version.empty() ? systemNames().release : version;
}

}  // namespace internal

const std::shared_ptr<const DeviceInfo>& DeviceInfo::shared() {
  static const NeverDestroyed<std::shared_ptr<const DeviceInfo>> device(
      std::make_shared<const internal::LinuxDeviceInfo>());
  return *device;
}

}  // namespace tq
