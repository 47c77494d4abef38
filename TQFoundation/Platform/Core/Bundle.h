#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "TQFoundation/Platform/Support/Export.h"

namespace tq::platform {

/// A folder of resources with the texts of a program in the languages it speaks.
///
///     Resources/en.lproj/Localizable.strings        "Delete %d clips?" = "Delete %d clips?";
///     Resources/pt-BR.lproj/Localizable.strings     "Delete %d clips?" = "Apagar %d clipes?";
///
///     const Bundle bundle("/opt/studio/Resources");
///     bundle.localizedString("Delete %d clips?");   // in the language that suits this user best
///
/// A table is a text of entries `"key" = "value";` with C and C++ comments between them, in UTF-8 or, with a
/// byte order mark, UTF-16. `"key";` has its key for a value. Of several entries of one key the last counts.
/// A text of nothing but the letters and digits of ASCII and _ $ / : . - needs no quotes; others stand in
/// "double" or 'single' ones, where \n \r \t \a \b \f \v, \U or \u with up to four hexadecimal digits (in
/// pairs of surrogates where it takes two) and up to three octal digits (to \177) are what they are in C, and
/// a backslash before anything else gives that.
///
/// A table that is not so written, is larger than 16 MiB or cannot be read counts as empty, and one line of
/// the log names its file and line.
///
/// Immutable after construction; share freely. Copies share the table.
class TQ_API Bundle {
 public:
  /// The resources in `folder`. Reads the one table that suits `languages` best and is done with the folder.
  ///
  /// The best match is that of Unicode's locale matching, so that "de-AT" is served by "de", and "zh-TW" by
  /// "zh-Hant"; "en" where no language matches, and no table where there is none of that either.
  explicit Bundle(const std::filesystem::path& folder,
                  const std::vector<std::string>& languages = preferredLanguages());

  /// The program's own: the folder "Resources" beside its file. Made on first use, never destroyed.
  [[nodiscard]] static const Bundle& main();

  /// The languages that the environment asks for, best first: those of `LANGUAGE`, then the first that is set
  /// of `LC_ALL`, `LC_MESSAGES` and `LANG`. "C" and "POSIX" ask for none.
  ///
  /// Callable from any thread, as long as none changes the environment meanwhile.
  [[nodiscard]] static std::vector<std::string> preferredLanguages();

  /// The text under `key`, or `key` itself when the table has no entry for it.
  [[nodiscard]] std::string localizedString(std::string_view key) const;

 private:
  std::shared_ptr<const std::map<std::string, std::string, std::less<>>> strings_;
};

}  // namespace tq::platform
