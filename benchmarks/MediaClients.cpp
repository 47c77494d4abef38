#include "benchmarks/MediaClients.h"

#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <utility>

#include "TQFoundation/MediaLoading/TQAVAssetLoader.h"
#include "TQFoundation/MediaLoading/TQFileDownloader.h"

namespace tq::bench {
namespace {

namespace fs = std::filesystem;

// Fetches the next file as soon as the one before has ended.
class Series final : public TQFileDownloaderDelegate {
 public:
  Series(const std::string& url, fs::path folder, int count)
      : url_(*URL::parse(url)), folder_(std::move(folder)), count_(count) {}

  void next(const std::shared_ptr<TQFileDownloader>& downloader) {
    downloader_ = downloader;
    if (done_ == count_) return DispatchQueue::main()->stop();
    downloader->downloadFileAtRemoteLocation(url_, URL::fileURLWithPath(folder_ / std::to_string(done_++)));
  }

  void fileDownloadingProgress(double) override {}
  void didFinishFileDownloadingAtURL(const URL&) override {}
  void didFinishFileDownloadingWithError(const std::optional<NSError>& error) override {
    if (error) fail(error->localizedDescription());
    next(downloader_);
  }

 private:
  const URL url_;
  const fs::path folder_;
  const int count_;
  int done_ = 0;
  std::shared_ptr<TQFileDownloader> downloader_;
};

// A photo library that has every video at hand.
class InstantLibrary final : public PHImageManager {
 public:
  PHImageRequestID requestAVAssetForVideo(std::shared_ptr<const PHAsset>, PHVideoRequestOptions,
                                          ResultHandler resultHandler) override {
    DispatchQueue::global()->async(
        [asset = asset_, handler = std::move(resultHandler)] { handler(asset, {}); });
    return ++latest_;
  }
  void cancelImageRequest(PHImageRequestID) override {}

 private:
  const std::shared_ptr<AVAsset> asset_ = std::make_shared<AVAsset>();
  PHImageRequestID latest_ = 0;
};

class EndOfBatch final : public TQAVAssetLoadProtocol {
 public:
  explicit EndOfBatch(int count) : count_(count) {}
  void loadingStarted() override {}
  void loadingProgress(double) override {}
  void loadingCompleted(const TQLoadedAssets& assets) override {
    if (assets.size() != static_cast<std::size_t>(count_)) fail("videos were lost");
    DispatchQueue::main()->stop();
  }
  void loadingFailedWithError(const NSError& error) override { fail(error.localizedDescription()); }
  void loadingCancelled() override {}

 private:
  const int count_;
};

void loadBatch(int count) {
  TQAVAssetLoader::Videos videos;
  for (int i = 0; i < count; ++i) videos.push_back(std::make_shared<PHAsset>("video " + std::to_string(i)));
  const auto end = std::make_shared<EndOfBatch>(count);
  const auto loader =
      TQAVAssetLoader::initWithVideos(std::move(videos), end, {.photos = std::make_shared<InstantLibrary>()});
  loader->startLoad();
  DispatchQueue::main()->run();
}

void handOver(int count) {
  int ran = 0;
  DispatchQueue::global()->async([&ran, count] {
    for (int i = 0; i < count; ++i) DispatchQueue::main()->sync([&ran] { ++ran; });
    DispatchQueue::main()->stop();
  });
  DispatchQueue::main()->run();
  if (ran != count) fail("hand-offs were lost");
}

double processorSeconds() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Not ru_maxrss, which a program inherits from the one that started it.
double mostMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    double kibibytes = 0;
    if (word == "VmHWM:" && status >> kibibytes) return kibibytes / 1024;
  }
  return 0;
}

void measure(const std::function<void()>& work) {
  const double processorBefore = processorSeconds();
  const auto before = std::chrono::steady_clock::now();
  work();
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - before;
  std::printf("%.9f %.9f %.3f\n", wall.count(), processorSeconds() - processorBefore, mostMemory());
}

// Left alone, threads that hand work to and fro share a core in one run and not in the next, which moves the
// figure more than anything else.
void stayOnOneCore() {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(::sched_getcpu(), &set);
  ::sched_setaffinity(0, sizeof set, &set);
}

// A home as users have it: with the folder whose volume is asked for room before each video.
void moveIntoAHome() {
  std::string home = "/tmp/tq-bench-home-XXXXXX";
  if (::mkdtemp(home.data()) == nullptr) fail("no temporary folder");
  fs::create_directory(home + "/Documents");
  ::setenv("HOME", home.c_str(), 1);
}

// The first transfer sets libraries up and connects; it is not what is measured.
void measureFetch(Fetch* fetch, const std::string& url, const fs::path& folder, int count) {
  const fs::path warmUp = folder / "warm-up";
  fs::create_directory(warmUp);
  fetch(url.substr(0, url.rfind('/')) + "/warm-up", warmUp, 1);
  measure([&] { fetch(url, folder, count); });
}

}  // namespace

void fetchWithLibrary(const std::string& url, const fs::path& folder, int count) {
  const auto series = std::make_shared<Series>(url, folder, count);
  const auto downloader = TQFileDownloader::make();
  downloader->setDownloadDelegate(series);
  series->next(downloader);
  DispatchQueue::main()->run();
}

Cost runClient(const std::vector<std::string>& arguments) {
  std::string command = fs::read_symlink("/proc/self/exe").string();
  for (const std::string& argument : arguments) command.append(" '").append(argument).append("'");
  std::FILE* const output = ::popen(command.c_str(), "r");
  Cost cost;
  const int fields =
      output == nullptr ? 0 : std::fscanf(output, "%lf %lf %lf", &cost.wall, &cost.processor, &cost.memory);
  if (fields != 3 || ::pclose(output) != 0) fail("the client has failed: " + command);
  return cost;
}

int clientMain(const std::vector<std::string>& arguments) {
  const std::string& work = arguments.at(0);
  const int count = std::stoi(arguments.at(1));
  if (arguments.size() < 4) stayOnOneCore();
  if (work == "batch") {
    moveIntoAHome();
    measure([=] { loadBatch(count); });
    fs::remove_all(std::getenv("HOME"));
  }
  if (work == "hand-offs") measure([=] { handOver(count); });
  if (arguments.size() < 4) return 0;
  const std::string& url = arguments[2];
  const fs::path folder = arguments[3];
  if (work == "ours") measureFetch(&fetchWithLibrary, url, folder, count);
  if (work == "libcurl") measureFetch(&fetchWithBareCurl, url, folder, count);
  if (work == "libcurl thread") measureFetch(&fetchWithCurlThread, url, folder, count);
  if (work == "sockets") measureFetch(&fetchWithBareSocket, url, folder, count);
  return 0;
}

void fail(const std::string& what) {
  std::cerr << what << std::endl;
  std::_Exit(1);
}

}  // namespace tq::bench
