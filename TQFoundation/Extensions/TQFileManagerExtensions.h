#pragma once

#include <filesystem>
#include <optional>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/URL.h"
#include "TQFoundation/Platform/Files/NSFileManager.h"

namespace tq {

/// The program's working folders for media, and their removal.
///
///     const auto clip = cloudMediaDirectoryPath() / "clip.mov";     // the folder is there
///     if (const auto image = inAppMessageBackgroundImagePath()) show(*image->filePath());
///     cleanTemporaryFiles();                                       // when the edit is done
///
/// A getter makes sure that its folder exists, creates it for this user alone (mode 0700) when it is missing,
/// and falls back where it cannot be had; the log says so. A folder of another user, or a link to one, cannot
/// be had; a link to a folder of this user's own serves as that folder.
///
/// Nothing is cached: every read looks at the file system, and the folder may be gone a moment later.
///
/// No operation reports to its caller; the log says what failed. Thread-safe except against concurrent
/// setenv(); any number of processes may use the folders at once.

/// `NSTemporaryDirectory()`, which lies in `TMPDIR` or /var/tmp.
[[nodiscard]] TQ_API std::filesystem::path temporaryDirectoryPath();

/// "CloudMedias" in the temporary directory, for media fetched from the cloud; else that directory itself.
[[nodiscard]] TQ_API std::filesystem::path cloudMediaDirectoryPath();

/// "EditingMedias" in the temporary directory, for media prepared for editing; else that directory itself.
[[nodiscard]] TQ_API std::filesystem::path editingMediaContainerDirectoryPath();

/// "RecommendedVideos" in `applicationSupportDirectories()`, created together with what is
/// missing above it; else, and where the user has no home, the temporary directory.
[[nodiscard]] TQ_API std::filesystem::path recommendedVideoDirectoryPath();

/// Where the background image of in-app messages is written and read: a file in "InAppMessageContent" in
/// the application's support directory. The folder is created as above; the image need not exist.
///
/// Absent where the folder cannot be created, is another user's, or the user has no home. A file in the
/// folder's place is accepted too: reading and writing the image fails then.
[[nodiscard]] TQ_API std::optional<URL> inAppMessageBackgroundImagePath();

/// Removes the folder of cloud media with all that is in it, as `removeItem` does: a link is removed, and
/// what it leads to stays. Removes nothing where the getter falls back. The next read of the getter creates
/// the folder anew.
TQ_API void removeCloudMediaDirectory();

/// The same for the folder of media prepared for editing; its log lines also give the error.
TQ_API void removeEditingMediaDirectory();

/// Both of these, in that order, and nothing else in the temporary directory.
TQ_API void cleanTemporaryFiles();

/// Removes the background image of in-app messages; its folder stays. Logs nothing.
TQ_API void removeInAppMessageBackgroundImage();

}  // namespace tq
