#include "tools/tq/Outcome.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "TQFoundation/MediaLoading/TQAVAssetLoader.h"
#include "TQFoundation/MediaLoading/TQDiskSpaceHandler.h"
#include "TQFoundation/Platform/Folders/Directories.h"
#include "tools/tq/Text.h"

namespace tq::tool {
namespace {

constexpr std::uint64_t kMebibyte = 1'048'576;

std::string diskFullSentence() {
  const auto documents = userFolder(UserFolder::documents);
  std::string sentence = "too little free space: more than " + std::to_string(kMinDiskspace / kMebibyte) +
                         " MiB must be free on the volume that holds " + documents.string();
  const std::uint64_t free = getTotalDiskSpaceInBytes();
  if (free == 0) return sentence + ", and none is, or the system does not say";
  return sentence + ", and " + std::to_string(free / kMebibyte) + " MiB are";
}

}  // namespace

void say(std::string_view sentence) {
  const std::string line = "tq: " + printable(sentence) + '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

int fail(std::string_view sentence) {
  say(sentence);
  return kExitFailure;
}

int write(std::string_view text) {
  const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (written && std::fflush(stdout) == 0) return kExitSuccess;
  return fail("cannot write to the standard output: " + std::generic_category().message(errno));
}

std::string sentence(const NSError& error, std::string_view subject) {
  if (error.domain == "Disk Full" && error.code == kiCloudDownloadDiskFullError) return diskFullSentence();
  if (error.userInfo.contains(std::string(NSLocalizedDescriptionKey))) return error.localizedDescription();
  const std::string attempt = "cannot load " + std::string(subject) + ": ";
  if (error.domain == kNetworkErrorDomain)
    return attempt + "the photo library has no asset of it, nor a reason";
  return attempt + error.localizedDescription();
}

}  // namespace tq::tool
