#include "tools/tq/DownloadCommand.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <system_error>

#include "TQFoundation/MediaLoading/TQDiskSpaceHandler.h"
#include "TQFoundation/MediaLoading/TQFileDownloader.h"
#include "TQFoundation/Platform/Folders/Directories.h"
#include "TQFoundation/Transfers/PersistentSessions.h"
#include "tools/tq/Outcome.h"
#include "tools/tq/Progress.h"
#include "tools/tq/Text.h"

namespace tq::tool {
namespace {

namespace fs = std::filesystem;

// What a transfer waits for, in words.
std::string newsOf(const TransferStatus& status) {
  using Waiting = TransferStatus::Waiting;
  if (status.waiting == Waiting::forNetwork) return "waiting for the network";
  if (status.waiting == Waiting::forSpace) return "waiting for space";
  const auto pause = std::chrono::ceil<std::chrono::seconds>(status.until - Clock::shared()->now());
  return "again in " + std::to_string(std::max<std::int64_t>(pause.count(), 0)) + " s";
}

class DownloadScreen final : public TQFileDownloaderDelegate {
 public:
  explicit DownloadScreen(std::string label) : label_(std::move(label)) {}

  void fileDownloadingProgress(double fraction) override {
    if (fraction < 0) return progress_->showUnknown(label_);
    progress_->show(fraction, label_);
  }
  void didFinishFileDownloadingAtURL(const URL&) override {
    progress_->show(1, label_);
    complete_ = true;
  }
  void didFinishFileDownloadingWithError(const std::optional<NSError>& error) override {
    if (!error_) error_ = error;
    ended_ = true;
  }

  void waits(const TransferStatus& status) {
    if (!progress_ || ended_ || status.waiting == TransferStatus::Waiting::forNothing) return;
    progress_->showNews(label_ + ": " + newsOf(status));
  }

  void wipeProgress() { progress_.reset(); }
  [[nodiscard]] bool ended() const { return ended_; }
  [[nodiscard]] bool complete() const { return complete_; }
  [[nodiscard]] const std::optional<NSError>& error() const { return error_; }

 private:
  const std::string label_;
  std::optional<Progress> progress_{std::in_place, "downloaded"};
  std::optional<NSError> error_;
  bool complete_ = false;
  bool ended_ = false;
};

// Why nothing could ever be put at `file`: asked before the transfer, which would be in vain.
std::optional<std::string> obstacleAt(const fs::path& file) {
  std::error_code ignored;
  if (fs::symlink_status(file, ignored).type() == fs::file_type::directory)
    return file.string() + " is a folder: name the file that is to be made";
  if (fs::exists(fs::symlink_status(file, ignored)))
    return file.string() + " exists already, and nothing is overwritten";
  if (!file.has_filename()) return '"' + file.string() + "\" does not name a file";
  const fs::path folder = fs::absolute(file, ignored).parent_path();
  if (!fs::is_directory(folder, ignored)) return "there is no folder " + folder.string();
  return std::nullopt;
}

bool onSameVolume(const fs::path& folder, fs::path other) {
  while (::access(other.c_str(), F_OK) != 0 && other.has_relative_path()) other = other.parent_path();
  struct stat a {};
  struct stat b {};
  return ::stat(folder.c_str(), &a) == 0 && ::stat(other.c_str(), &b) == 0 && a.st_dev == b.st_dev;
}

void warnAboutStatus(const TQFileDownloader& downloader, const DownloadRequest& request) {
  const auto task = downloader.downloadTask();
  const auto response = task ? task->response() : std::nullopt;
  if (!response || response->statusCode / 100 == 2) return;
  say("warning: the server answered with status " + std::to_string(response->statusCode) + ": what " +
      request.file.string() + " holds is its answer, hardly the file that was meant");
}

// Makes sessions that try again what fails in passing, that make sure of the folder before the request, so
// that no body is fetched in vain, and that leave the volume the space that videos need. The partial file is
// where the finished one can be had by a rename.
NSURLSessionMaker sessionsFor(const DownloadRequest& request, std::weak_ptr<DownloadScreen> screen) {
  NSURLSessionMaker inner = [resumes = request.resumes, timeout = std::chrono::seconds(request.timeout)](
                                NSURLSessionConfiguration configuration,
                                std::weak_ptr<NSURLSessionDownloadDelegate> delegate) {
    configuration.timeoutIntervalForRequest = timeout;
    configuration.checksDestinationFolder = true;
    configuration.minimumFreeBytes = kMinDiskspace;
    configuration.durable = true;
    const fs::path common = partialFilesFolder();
    const fs::path& own = configuration.destinationFolder;
    if (resumes) configuration.partials = {.folder = onSameVolume(own, common) ? common : own, .key = {}};
    return NSURLSession::sessionWithConfiguration(configuration, std::move(delegate));
  };
  return persistentSessions(std::move(inner), {.attemptsWithoutProgress = request.retries + 1},
                            [screen = std::move(screen)](const URL&, const TransferStatus& status) {
                              DispatchQueue::main()->async([screen, status] {
                                if (const auto shown = screen.lock()) shown->waits(status);
                              });
                            });
}

// Downloads to the end, whichever it is; `screen` has received which. Returns whether a signal came first. It
// ends the program rather than the transfer, where there is a partial file to be continued by the next run.
bool runDownloader(const DownloadRequest& request, const URL& remote, DownloadScreen& screen,
                   std::shared_ptr<TQFileDownloader> downloader, const Interrupts& interrupts) {
  bool cancelled = false;
  downloader->downloadFileAtRemoteLocation(remote, URL::fileURLWithPath(request.file));
  runMainQueue(
      interrupts, [&] { return screen.ended() || (cancelled && request.resumes); },
      [&] {
        cancelled = true;
        if (!request.resumes) downloader->cancelFileDownload();
      });
  screen.wipeProgress();
  if (screen.complete()) warnAboutStatus(*downloader, request);
  if (!screen.ended()) return cancelled;
  const std::weak_ptr<const void> underWay = downloader;
  downloader = nullptr;
  runMainQueueUntilReleased(underWay);
  return cancelled;
}

}  // namespace

int download(const DownloadRequest& request, const Interrupts& interrupts) {
  const auto remote = URL::parse(request.url);
  if (!remote || !remote->isHTTP())
    return fail('"' + withoutSecrets(request.url) + "\" is no http or https URL");
  if (const auto obstacle = obstacleAt(request.file)) return fail(*obstacle);

  const auto screen = std::make_shared<DownloadScreen>(request.file.filename().string());
  auto downloader = TQFileDownloader::make({.makeSession = sessionsFor(request, screen)});
  downloader->setDownloadDelegate(screen);
  const bool cancelled = runDownloader(request, *remote, *screen, std::move(downloader), interrupts);
  if (screen->complete()) {
    std::error_code ignored;
    return write(printable(request.file.string()) + "  " +
                 std::to_string(fs::file_size(request.file, ignored)) + " bytes\n");
  }
  if (cancelled) return say("cancelled"), kExitInterrupted;
  return fail(sentence(screen->error().value_or(NSError{}), withoutSecrets(request.url)));
}

}  // namespace tq::tool
