#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/NSError.h"

namespace tq {

/// The standard folders of this user and this program.
///
///     const auto cache = NSTemporaryDirectory() / "iCloudVideos";
///
/// What lies in a folder shared by programs is named after this program, `applicationName()`.
///
/// Each call reads the environment and the file system. Thread-safe except against concurrent setenv().

/// The folder for files of passing use: one per user and program, `NAME-UID` in `TMPDIR` (where that is not
/// an absolute path of a folder, in /var/tmp).
///
/// It exists when this returns, is a real folder of this user's, and is open to no other user (mode 0700).
/// Where something else has taken the name, a fresh folder with a random ending serves, the same one for the
/// rest of the process. Where no folder can be made at all, the path is one that cannot exist (beneath
/// /dev/null), so that writing there fails and no other user's folder is named.
[[nodiscard]] TQ_API std::filesystem::path NSTemporaryDirectory();

/// Why `NSTemporaryDirectory()` names a path that cannot exist; absent where it does not.
[[nodiscard]] TQ_API std::optional<NSError> temporaryDirectoryError();

/// The user's home folder: `HOME`, else that of the system's user list, else empty.
[[nodiscard]] TQ_API std::filesystem::path NSHomeDirectory();

/// The folders that desktop programs share, by the XDG rules for user folders.
enum class UserFolder { documents, videos };

/// The folder that `XDG_CONFIG_HOME/user-dirs.dirs` names, else "Documents" or "Videos" in the home folder.
/// It need not exist. Empty when there is no home.
[[nodiscard]] TQ_API std::filesystem::path userFolder(UserFolder folder);

/// The folder for what can be made or fetched again: `XDG_CACHE_HOME`, else ".cache" in the home folder, and
/// the program's name beneath. It need not exist. Empty when there is no home.
[[nodiscard]] TQ_API std::filesystem::path userCacheFolder();

/// The folder for the partial files of transfers: "PartialFiles" in `userCacheFolder()`, without a home in
/// `NSTemporaryDirectory()`. It need not exist.
[[nodiscard]] TQ_API std::filesystem::path partialFilesFolder();

/// The folders for what the program keeps for its user, the one to write to first: `XDG_DATA_HOME`, else
/// ".local/share" in the home folder, and the program's name beneath. They need not exist. None without a
/// home.
[[nodiscard]] TQ_API std::vector<std::filesystem::path> applicationSupportDirectories();

/// The name of the program's folders: the main bundle's identifier, else `programName()`. The same for
/// the life of the process.
[[nodiscard]] TQ_API const std::string& applicationName();

/// The name of the running program's file, without its folder.
[[nodiscard]] TQ_API std::string programName();

}  // namespace tq
