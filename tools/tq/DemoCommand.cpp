#include "tools/tq/DemoCommand.h"

#include <stdlib.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

#include "TQFoundation/Platform/Folders/Directories.h"
#include "tools/tq/DemoClips.h"
#include "tools/tq/DemoServer.h"
#include "tools/tq/LoadCommand.h"
#include "tools/tq/Outcome.h"

namespace tq::tool {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds kPerFetchedClip{2400};
constexpr std::array<std::string_view, 3> kInTheCloud{"life.mkv", "mandelbrot.webm", "test-card.mp4"};
constexpr std::array<std::string_view, 6> kBatch{"colour-bars.mov", "mandelbrot.webm", "gradients.avi",
                                                 "test-card.mp4",   "colour-bars.mov", "life.mkv"};

// A fresh folder that is removed with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = NSTemporaryDirectory() / "demo-XXXXXX";
    if (::mkdtemp(name.data()) != nullptr) path_ = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    if (!path_.empty()) fs::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] const fs::path& path() const { return path_; }  // empty when there is none

 private:
  fs::path path_;
};

bool isInTheCloud(std::string_view name) {
  return std::find(kInTheCloud.begin(), kInTheCloud.end(), name) != kInTheCloud.end();
}

bool writeFile(const fs::path& path, std::string_view bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  return !file.fail();
}

bool makeLibrary(const fs::path& folder, const DemoServer& cloud) {
  std::error_code error;
  fs::create_directory(folder, error);
  return !error && std::all_of(demoClips().begin(), demoClips().end(), [&](const DemoClip& clip) {
    const fs::path file = folder / clip.name;
    return isInTheCloud(clip.name) ? writeFile(file.string() + ".cloud", cloud.url(clip.name) + '\n')
                                   : writeFile(file, clip.bytes);
  });
}

std::string introduction(const fs::path& folder, const DemoServer& cloud) {
  std::string text = "A photo library of " + std::to_string(demoClips().size()) +
                     " videos lies in a temporary folder.\n" + std::to_string(kInTheCloud.size()) +
                     " are in the cloud: a slow server at " + cloud.url("") +
                     " has them.\nOne is asked for twice: it is loaded once and handed over twice.\n"
                     "Ctrl-C cancels.\n\n$ cd " +
                     folder.string() + "\n$ tq load --cache cache library";
  constexpr std::size_t kPerLine = 3;
  for (std::size_t i = 0; i < kBatch.size(); ++i) {
    text += i % kPerLine == 0 ? " \\\n    " : " ";
    text += kBatch[i];
  }
  return text + "\n\n";
}

}  // namespace

int demo(const Interrupts& interrupts) {
  // A proxy that the environment names would not find this server. No other thread runs yet.
  ::setenv("no_proxy", "127.0.0.1", 1);  // NOLINT(concurrency-mt-unsafe)
  const TemporaryFolder folder;
  const DemoServer cloud(kPerFetchedClip);
  if (!cloud.isListening()) return fail("cannot open a port on 127.0.0.1");
  const LoadRequest request{.folder = folder.path() / "library",
                            .identifiers = {kBatch.begin(), kBatch.end()},
                            .cache = folder.path() / "cache"};
  if (const auto error = temporaryDirectoryError()) return fail(error->localizedDescription());
  if (folder.path().empty() || !makeLibrary(request.folder, cloud))
    return fail("cannot make a small library in " + NSTemporaryDirectory().string());
  if (const int result = write(introduction(folder.path(), cloud))) return result;
  if (const int result = load(request, interrupts)) return result;
  return write("\nThe folder is removed again.\n");
}

}  // namespace tq::tool
