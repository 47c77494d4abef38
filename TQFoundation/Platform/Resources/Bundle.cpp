#include "TQFoundation/Platform/Resources/Bundle.h"

#include <unicode/localematcher.h>
#include <unicode/locid.h>

#include <algorithm>
#include <optional>
#include <utility>
#include <variant>

#include "TQFoundation/Platform/Base/LazyValue.h"
#include "TQFoundation/Platform/Base/ProgramPath.h"
#include "TQFoundation/Platform/Files/SettingsFile.h"
#include "TQFoundation/Platform/Ports/UserSettings.h"
#include "TQFoundation/Platform/Resources/StringsTable.h"

namespace tq {
namespace {

namespace fs = std::filesystem;
using internal::StringsFault;
using internal::StringsTable;

constexpr std::string_view kFolderEnding = ".lproj";
constexpr const char* kTableName = "Localizable.strings";
constexpr const char* kInfoName = "Info.strings";
constexpr std::string_view kIdentifierKey = "CFBundleIdentifier";
constexpr std::size_t kLongestIdentifier = 100;
constexpr std::size_t kLargestTable = std::size_t{16} << 20;
constexpr const char* kLastResort = "en";

// The matcher takes all names without a language for equal, and so for a match.
bool isLanguage(const icu::Locale& locale) {
  return !locale.isBogus() && *locale.getLanguage() != '\0';
}

// The languages that have a table, in an order that does not change from run to run.
std::vector<std::string> languagesIn(const fs::path& folder) {
  std::vector<std::string> languages;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    std::string name = entry->path().filename().string();
    std::error_code ignored;
    if (!name.ends_with(kFolderEnding) || !fs::exists(entry->path() / kTableName, ignored)) continue;
    name.resize(name.size() - kFolderEnding.size());
    if (isLanguage(icu::Locale(name.c_str()))) languages.push_back(std::move(name));
  }
  std::sort(languages.begin(), languages.end());
  return languages;
}

std::optional<std::size_t> bestMatch(const icu::LocaleMatcher& matcher,
                                     const std::vector<std::string>& languages) {
  std::vector<icu::Locale> wanted;
  wanted.reserve(languages.size());
  for (const std::string& language : languages) wanted.emplace_back(language.c_str());
  std::erase_if(wanted, [](const icu::Locale& locale) { return !isLanguage(locale); });
  UErrorCode status = U_ZERO_ERROR;
  icu::Locale::RangeIterator<std::vector<icu::Locale>::const_iterator> each(wanted.begin(), wanted.end());
  const auto result = matcher.getBestMatchResult(each, status);
  if (U_FAILURE(status) || result.getSupportedIndex() < 0) return std::nullopt;
  return static_cast<std::size_t>(result.getSupportedIndex());
}

std::optional<icu::LocaleMatcher> matcherOf(const std::vector<std::string>& offered) {
  if (offered.empty()) return std::nullopt;
  icu::LocaleMatcher::Builder builder;
  for (const std::string& language : offered) builder.addSupportedLocale(icu::Locale(language.c_str()));
  UErrorCode status = U_ZERO_ERROR;
  icu::LocaleMatcher matcher = builder.setNoDefaultLocale().build(status);
  return U_SUCCESS(status) ? std::optional(std::move(matcher)) : std::nullopt;
}

// The best of those offered, then what suits each of the wanted languages by itself.
std::vector<std::string> bestLanguages(const std::vector<std::string>& offered,
                                       const std::vector<std::string>& wanted) {
  const auto matcher = matcherOf(offered);
  if (!matcher) return {};
  std::vector<std::string> result;
  const auto add = [&](const std::vector<std::string>& languages) {
    const auto best = bestMatch(*matcher, languages);
    if (best && std::find(result.begin(), result.end(), offered[*best]) == result.end())
      result.push_back(offered[*best]);
  };
  add(wanted);
  if (result.empty()) add({kLastResort});
  for (const std::string& language : wanted) add({language});
  return result;
}

// The table at `path`; an empty one with a reason in `errors` where it cannot be used.
StringsTable tableAt(const fs::path& path, std::vector<NSError>& errors) {
  const auto refuse = [&](const std::string& where, std::string_view reason) {
    NSError error =
        makeError(NSCocoaErrorDomain, NSFileReadCorruptFileError,
                  "cannot use the strings table " + path.string() + where + ": " + std::string(reason));
    error.userInfo.emplace(NSFilePathErrorKey, path.string());
    errors.push_back(std::move(error));
    return StringsTable();
  };
  const auto bytes = readSmallFile(path, kLargestTable);
  if (!bytes) return refuse("", "it cannot be read or is larger than 16 MiB");
  auto parsed = internal::parseStringsTable(*bytes);
  if (const auto* fault = std::get_if<StringsFault>(&parsed))
    return refuse(", line " + std::to_string(fault->line), fault->reason);
  return std::get<StringsTable>(std::move(parsed));
}

bool isHarmlessName(std::string_view name) {
  constexpr std::string_view kAllowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";
  return !name.empty() && name.size() <= kLongestIdentifier && name[0] != '.' &&
         name.find_first_not_of(kAllowed) == std::string_view::npos;
}

std::string identifierIn(const StringsTable& info) {
  const auto found = info.find(kIdentifierKey);
  return found != info.end() && isHarmlessName(found->second) ? found->second : "";
}

// Empty where the program's file is not known: the working folder must not serve instead.
fs::path mainFolder() {
  const fs::path program = internal::programPath();
  return program.empty() ? program : program.parent_path() / "Resources";
}

}  // namespace

Bundle::Bundle(const fs::path& folder, const std::vector<std::string>& languages)
    : localizations_(languagesIn(folder)) {
  const auto best = bestLanguages(localizations_, languages);
  StringsTable table;
  if (!best.empty())
    table = tableAt(folder / (best.front() + std::string(kFolderEnding)) / kTableName, errors_);
  strings_ = std::make_shared<const StringsTable>(std::move(table));
  std::error_code ignored;
  if (fs::exists(folder / kInfoName, ignored))
    identifier_ = identifierIn(tableAt(folder / kInfoName, errors_));
}

// The languages come from the host's settings, so no lock may be held.
const Bundle& Bundle::main() {
  static constinit internal::LazyValue<Bundle> bundle;
  return bundle.get([] { return Bundle(mainFolder()); });
}

const std::string& Bundle::mainIdentifier() {
  static constinit internal::LazyValue<std::string> identifier;
  return identifier.get([] {
    std::vector<NSError> ignored;
    return identifierIn(tableAt(mainFolder() / kInfoName, ignored));
  });
}

std::vector<std::string> Bundle::userLanguages() {
  return UserSettingsSource::shared()->current()->languages;
}

std::vector<std::string> Bundle::preferredLocalizations(const std::vector<std::string>& languages) const {
  auto best = bestLanguages(localizations_, languages);
  if (best.empty()) best.emplace_back(kLastResort);
  return best;
}

std::string Bundle::localizedString(std::string_view key) const {
  const auto found = strings_->find(key);
  return found == strings_->end() ? std::string(key) : found->second;
}

}  // namespace tq
