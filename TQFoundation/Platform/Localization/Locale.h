#pragma once

#include <string>
#include <string_view>

#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// Whose words, digits and customs a text for people follows: a language, and where it matters a script, a
/// region, a calendar and a numbering.
///
///     const Locale german("de");
///     const Locale serbian("sr-Latn-RS");
///     const Locale thai("th_TH@calendar=gregorian;numbers=thai");
///     const Locale user = UserSettingsSource::shared()->current()->dates;
///
/// Names come from folders and from the environment, so whatever is not the name of a language that Unicode's
/// locale data covers ("la" is Latin, and is not covered) is the neutral locale "en_US_POSIX".
///
/// Immutable after construction; share freely.
class TQ_API Locale {
 public:
  /// The locale of this name, its parts joined by "_" or "-". After "@" the keywords `calendar` and `numbers`
  /// may stand, separated by ";"; others, and unknown values, are left out.
  explicit Locale(std::string_view identifier);

  /// The name in its usual form: "pt-BR" is "pt_BR".
  [[nodiscard]] const std::string& identifier() const noexcept { return identifier_; }

  /// The locale that the system calls `name`: "de_DE.UTF-8@euro" is "de_DE", "sr_RS@latin" is "sr_Latn_RS",
  /// "ca_ES@valencia" is "ca_ES_VALENCIA", "en_US.UTF-8@calendar=hebrew" keeps its keyword, and "C" as well
  /// as nothing at all is "en_US_POSIX".
  [[nodiscard]] static Locale ofSystemName(std::string_view name);

  friend bool operator==(const Locale&, const Locale&) = default;

 private:
  std::string identifier_;
};

}  // namespace tq
