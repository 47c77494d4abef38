#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/NSError.h"

namespace tq {

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
/// A table that is not so written, is larger than 16 MiB or cannot be read counts as empty; `errors` says
/// which, and why.
///
/// Beside the languages, "Info.strings" says what holds for all of them. Its entry `CFBundleIdentifier` names
/// the program's folders; a name that is not harmless as one (ASCII letters and digits, "-", "_" and ".",
/// which does not begin it; 1 to 100 characters) counts as none.
///
///     Resources/Info.strings                        CFBundleIdentifier = com.example.studio;
///
/// Immutable after construction; share freely. Copies share the table.
class TQ_API Bundle {
 public:
  /// The resources in `folder`. Reads the one table that suits `languages` best; `folder` is not needed
  /// later.
  ///
  /// The best match is that of Unicode's locale matching, so that "de-AT" is served by "de", and "zh-TW" by
  /// "zh-Hant"; "en" where no language matches, and no table where there is none of that either.
  explicit Bundle(const std::filesystem::path& folder,
                  const std::vector<std::string>& languages = userLanguages());

  /// The program's own: the folder "Resources" beside its file, in the languages that the user has at the
  /// first use. Never destroyed.
  [[nodiscard]] static const Bundle& main();

  /// The same as `main().identifier()`, without reading the program's texts. Read once.
  [[nodiscard]] static const std::string& mainIdentifier();

  /// The languages of this bundle that suit who wants `languages`, the best match first; "en" where there is
  /// none. The first of them is the program's own language. By default matched afresh with the user's
  /// languages of this moment; which tables there are is what there was when the bundle was made.
  [[nodiscard]] std::vector<std::string> preferredLocalizations(
      const std::vector<std::string>& languages = userLanguages()) const;

  /// The bundle's name for machines, empty when it has none.
  [[nodiscard]] const std::string& identifier() const { return identifier_; }

  /// What keeps this bundle from using its tables: for each an error whose sentence names file and line.
  ///
  ///     for (const NSError& error : Bundle::main().errors()) log(error.localizedDescription());
  [[nodiscard]] const std::vector<NSError>& errors() const { return errors_; }

  /// The text under `key`, or `key` itself when the table has no entry for it.
  [[nodiscard]] std::string localizedString(std::string_view key) const;

 private:
  [[nodiscard]] static std::vector<std::string> userLanguages();

  std::vector<std::string> localizations_;
  std::shared_ptr<const std::map<std::string, std::string, std::less<>>> strings_;
  std::string identifier_;
  std::vector<NSError> errors_;
};

}  // namespace tq
