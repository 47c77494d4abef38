#include "TQFoundation/Extensions/TQFileManagerExtensions.h"

#include <string>
#include <utility>

#include "TQFoundation/Extensions/TQPremitiveExtensions.h"
#include "TQFoundation/Platform/Folders/Directories.h"
#include "TQFoundation/Platform/Folders/StandardFolder.h"

namespace tq {
namespace {

namespace fs = std::filesystem;
using State = StandardFolder::State;

constexpr const char* kImageName = "inAppMessageBackgroundImage.png";

const StandardFolder& cloudMedias() {
  static const auto& folder = *new StandardFolder(StandardFolder::In::temporaryDirectory, "CloudMedias");
  return folder;
}

const StandardFolder& editingMedias() {
  static const auto& folder = *new StandardFolder(StandardFolder::In::temporaryDirectory, "EditingMedias");
  return folder;
}

const StandardFolder& recommendedVideos() {
  static const auto& folder =
      *new StandardFolder(StandardFolder::In::applicationSupport, "RecommendedVideos");
  return folder;
}

const StandardFolder& inAppMessageContent() {
  static const auto& folder =
      *new StandardFolder(StandardFolder::In::applicationSupport, "InAppMessageContent");
  return folder;
}

// Where the folder is or should be, and whether it is there.
struct Media {
  fs::path path;
  bool isThere = false;
};

Media mediaFolder(const StandardFolder& folder) {
  auto [state, path] = folder.find();
  if (state == State::ours) return {.path = std::move(path), .isThere = true};
  if (state == State::missing) {
    const auto error = folder.create(path);
    if (!error) return {.path = std::move(path), .isThere = true};
    TQLogger::debug("Failed to create Directory at Path: " + path.string() +
                    " with error: " + error->localizedDescription());
  }
  TQLogger::debug("**** Unable to create new directory. Returning Temporary Directory");
  return {.path = std::move(path)};
}

fs::path mediaPath(const StandardFolder& folder) {
  if (const auto known = folder.known()) return *known;
  Media media = mediaFolder(folder);
  return media.isThere ? std::move(media.path) : NSTemporaryDirectory();
}

URL imageIn(const fs::path& folder) {
  return URL::fileURLWithPath(folder.native() + '/' + kImageName);
}

void logRemoved(const fs::path& folder) {
  TQLogger::debug("**** Directory at path: " + folder.string() + " removed successfully");
}

bool isGone(const fs::path& folder) {
  std::error_code ignored;
  return !fs::exists(folder, ignored);
}

}  // namespace

fs::path temporaryDirectoryPath() {
  return NSTemporaryDirectory();
}

fs::path cloudMediaDirectoryPath() {
  return mediaPath(cloudMedias());
}

fs::path editingMediaContainerDirectoryPath() {
  return mediaPath(editingMedias());
}

fs::path recommendedVideoDirectoryPath() {
  if (const auto known = recommendedVideos().known()) return *known;
  auto [state, path] = recommendedVideos().find();
  if (state == State::ours) return std::move(path);
  if (state == State::nowhere) return NSTemporaryDirectory();
  if (!recommendedVideos().create(path)) return std::move(path);
  TQLogger::debug("Failed to create Directory at Path: " + path.string());
  return NSTemporaryDirectory();
}

std::optional<URL> inAppMessageBackgroundImagePath() {
  if (const auto known = inAppMessageContent().known()) return imageIn(*known);
  const auto [state, path] = inAppMessageContent().find();
  if (state == State::nowhere) return std::nullopt;
  if (state != State::ours && state != State::file) {
    if (const auto error = inAppMessageContent().create(path)) {
      TQLogger::debug("====== Failed to create directory for image with Error: " + error->description());
      return std::nullopt;
    }
  }
  return imageIn(path);
}

void removeCloudMediaDirectory() {
  const auto [folder, isThere] = mediaFolder(cloudMedias());
  if (!isThere || isGone(folder)) return;
  if (!NSFileManager::removeItem(folder)) return logRemoved(folder);
  TQLogger::debug("**** Could not remove directory at path: " + folder.string());
}

void removeEditingMediaDirectory() {
  const auto [folder, isThere] = mediaFolder(editingMedias());
  if (!isThere || isGone(folder))
    return TQLogger::debug("**** No directory to remove at path: " + folder.string());
  const auto error = NSFileManager::removeItem(folder);
  if (!error) return logRemoved(folder);
  TQLogger::debug("**** Could not remove directory at path: " + folder.string() +
                  ". Error : " + error->localizedDescription());
}

void cleanTemporaryFiles() {
  removeCloudMediaDirectory();
  removeEditingMediaDirectory();
}

void removeInAppMessageBackgroundImage() {
  const auto image = inAppMessageBackgroundImagePath();
  const auto file = image ? image->filePath() : std::nullopt;
  // Nothing there is a failure like others, and nobody is told of any.
  if (file) static_cast<void>(NSFileManager::removeItem(*file));
}

}  // namespace tq
