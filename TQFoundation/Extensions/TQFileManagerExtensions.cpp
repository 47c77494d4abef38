#include "TQFoundation/Extensions/TQFileManagerExtensions.h"

#include <string>
#include <utility>

#include "TQFoundation/Extensions/TQPremitiveExtensions.h"
#include "TQFoundation/Platform/Folders/Directories.h"
#include "TQFoundation/Platform/Folders/StandardFolder.h"

namespace tq {
namespace {

namespace fs = std::filesystem;
using internal::StandardFolder;
using In = StandardFolder::In;
using State = StandardFolder::State;

constexpr const char* kImageName = "inAppMessageBackgroundImage.png";
constexpr StandardFolder kCloudMedias{In::temporaryDirectory, "CloudMedias"};
constexpr StandardFolder kEditingMedias{In::temporaryDirectory, "EditingMedias"};
constexpr StandardFolder kRecommendedVideos{In::applicationSupport, "RecommendedVideos"};
constexpr StandardFolder kInAppMessageContent{In::applicationSupport, "InAppMessageContent"};

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
  Media media = mediaFolder(folder);
  return media.isThere ? std::move(media.path) : NSTemporaryDirectory();
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
  return mediaPath(kCloudMedias);
}

fs::path editingMediaContainerDirectoryPath() {
  return mediaPath(kEditingMedias);
}

fs::path recommendedVideoDirectoryPath() {
  auto [state, path] = kRecommendedVideos.find();
  if (state == State::ours) return std::move(path);
  if (state == State::nowhere) return NSTemporaryDirectory();
  if (!kRecommendedVideos.create(path)) return std::move(path);
  TQLogger::debug("Failed to create Directory at Path: " + path.string());
  return NSTemporaryDirectory();
}

std::optional<URL> inAppMessageBackgroundImagePath() {
  const auto [state, path] = kInAppMessageContent.find();
  if (state == State::nowhere) return std::nullopt;
  if (state != State::ours && state != State::file) {
    if (const auto error = kInAppMessageContent.create(path)) {
      TQLogger::debug("====== Failed to create directory for image with Error: " + error->description());
      return std::nullopt;
    }
  }
  return URL::fileURLWithPath(path / kImageName);
}

void removeCloudMediaDirectory() {
  const auto [folder, isThere] = mediaFolder(kCloudMedias);
  if (!isThere || isGone(folder)) return;
  if (!NSFileManager::removeItem(folder)) return logRemoved(folder);
  TQLogger::debug("**** Could not remove directory at path: " + folder.string());
}

void removeEditingMediaDirectory() {
  const auto [folder, isThere] = mediaFolder(kEditingMedias);
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
  // All failures are ignored, also that there is no image.
  if (file) static_cast<void>(NSFileManager::removeItem(*file));
}

}  // namespace tq
