#include "TQFoundation/Platform/Localization/Locale.h"

#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/numsys.h>
#include <unicode/strenum.h>
#include <unicode/ures.h>

#include <algorithm>
#include <memory>

namespace tq {
namespace {

constexpr const char* kNeutral = "en_US_POSIX";
constexpr std::size_t kLongestName = 128;

// What the C library says after "@", and what Unicode calls it.
struct Modifier {
  std::string_view name;
  const char* script = "";
  const char* variant = "";
};
constexpr Modifier kModifiers[] = {
    {.name = "latin", .script = "Latn"},      {.name = "iqtelif", .script = "Latn"},
    {.name = "cyrillic", .script = "Cyrl"},   {.name = "arabic", .script = "Arab"},
    {.name = "devanagari", .script = "Deva"}, {.name = "valencia", .variant = "VALENCIA"},
};

bool isNameCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("_-@=;").find(c) != std::string_view::npos;
}

bool isCalendar(const std::string& name) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::StringEnumeration> known(
      icu::Calendar::getKeywordValuesForLocale("calendar", icu::Locale::getRoot(), false, status));
  if (U_FAILURE(status)) return false;
  while (const char* const next = known->next(nullptr, status)) {
    if (name == next) return true;
  }
  return false;
}

bool isNumbering(const std::string& name) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::NumberingSystem> system(
      icu::NumberingSystem::createInstanceByName(name.c_str(), status));
  return U_SUCCESS(status) && system != nullptr;
}

// For a language without data ICU takes that of the process's default locale.
bool isInData(const char* language) {
  if (*language == '\0') return false;
  UErrorCode status = U_ZERO_ERROR;
  const icu::LocalUResourceBundlePointer data(ures_open(nullptr, language, &status));
  return U_SUCCESS(status) && status != U_USING_DEFAULT_WARNING;
}

void keepKeyword(const icu::Locale& from, icu::Locale& to, const char* keyword,
                 bool (*isKnown)(const std::string&)) {
  UErrorCode status = U_ZERO_ERROR;
  const auto value = from.getKeywordValue<std::string>(keyword, status);
  if (U_SUCCESS(status) && !value.empty() && isKnown(value))
    to.setKeywordValue(keyword, value.c_str(), status);
}

std::string usualName(std::string_view name) {
  if (name.size() > kLongestName || !std::all_of(name.begin(), name.end(), isNameCharacter)) return kNeutral;
  const icu::Locale given(std::string(name).c_str());
  if (given.isBogus() || !isInData(given.getLanguage())) return kNeutral;
  const std::string_view base = given.getBaseName();
  const std::size_t end = base.find_last_not_of('_', base.find('@') - 1);
  icu::Locale locale(std::string(base.substr(0, end + 1)).c_str());
  keepKeyword(given, locale, "calendar", isCalendar);
  keepKeyword(given, locale, "numbers", isNumbering);
  return locale.isBogus() ? kNeutral : locale.getName();
}

// "sr_RS.UTF-8@latin" as "sr_Latn_RS".
std::string unicodeName(std::string_view name) {
  const std::string_view base = name.substr(0, name.find_first_of(".@"));
  const std::size_t at = name.find('@');
  const std::string_view modifier = at == std::string_view::npos ? "" : name.substr(at + 1);
  std::string result(base == "C" || base == "POSIX" ? kNeutral : base);
  if (modifier.find('=') != std::string_view::npos) return result.append("@").append(modifier);
  const auto* const known = std::find_if(std::begin(kModifiers), std::end(kModifiers),
                                         [&](const Modifier& each) { return each.name == modifier; });
  if (known == std::end(kModifiers)) return result;
  const std::size_t region = std::min(base.find('_'), base.size());
  if (*known->script != '\0') result.insert(region, std::string("_") + known->script);
  if (*known->variant != '\0') result.append("_").append(known->variant);
  return result;
}

}  // namespace

Locale::Locale(std::string_view identifier) : identifier_(usualName(identifier)) {}

Locale Locale::ofSystemName(std::string_view name) {
  return Locale(name.size() > kLongestName ? std::string() : unicodeName(name));
}

}  // namespace tq
