#pragma once

#include <curl/curl.h>
#include <sys/types.h>

#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "TQFoundation/Platform/Adapters/Curl/CurlTransfer.h"
#include "TQFoundation/Platform/Base/Mutex.h"

namespace tq::internal {

/// Runs the transfers of all sessions side by side on a thread of its own, and keeps their connections for
/// the next ones.
///
/// The thread starts with the first transfer. At most six transfers of one server run at a time, and in all
/// as many as the limit of open files bears; the others wait their turn in the order they came. When the
/// process exits the thread is stopped and joined, before the clean-up of the libraries it uses, and the
/// temporary files are removed; the clients are not called then.
///
/// Thread-safe. Never destroyed.
class CurlEngine {
 public:
  static CurlEngine& shared();

  CurlEngine();
  CurlEngine(const CurlEngine&) = delete;
  CurlEngine& operator=(const CurlEngine&) = delete;

  /// Starts a transfer that calls `client` on the engine's thread. When the thread or what it needs cannot be
  /// had, the transfer ends with an error on this thread, before the call returns.
  void start(std::shared_ptr<CurlClient> client, NSURLRequest request,
             const NSURLSessionConfiguration& configuration);

  /// Ends `client`'s transfer with `NSURLErrorCancelled`; one that has ended is left alone.
  void cancel(std::shared_ptr<CurlClient> client);

  /// Registers a file that a client has received, so that it is removed at exit.
  void addFile(const std::filesystem::path& file);

  /// Removes such a file.
  void removeFile(const std::filesystem::path& file);

 private:
  struct Command {
    std::unique_ptr<CurlTransfer> begin;  // null to cancel
    std::shared_ptr<CurlClient> cancel;
  };

  [[nodiscard]] const char* ensureRunning() TQ_REQUIRES(mutex_);
  [[nodiscard]] CURLM* makeMulti() const;
  void stop();
  void run();
  [[nodiscard]] bool takeCommands();
  void cancelNow(const CurlClient* client);
  void beginWaiting();
  [[nodiscard]] bool begin(std::unique_ptr<CurlTransfer>& transfer);
  void collectFinished();
  void endFailed();
  [[nodiscard]] int patience() const;
  [[nodiscard]] std::unique_ptr<CurlTransfer> remove(const CurlClient* client);

  const bool ready_;     // libcurl itself
  const pid_t process_;  // a fork has no engine thread: nothing may be joined or removed there
  const std::size_t maxTransfers_;

  // Invariant: callers append commands, the engine's thread takes them all at once; each append is followed
  // by a wake-up of `multi_`, so none is left lying while the thread polls. `multi_` is made before the
  // thread starts and is neither changed nor destroyed after. Nothing is appended once `stopping_`.
  Mutex mutex_;
  std::vector<Command> commands_ TQ_GUARDED_BY(mutex_);
  std::set<std::filesystem::path> files_ TQ_GUARDED_BY(mutex_);
  std::thread thread_ TQ_GUARDED_BY(mutex_);
  bool stopping_ TQ_GUARDED_BY(mutex_) = false;
  CURLM* multi_ = nullptr;

  // The engine's thread only. Invariant: `perServer_` counts the transfers in `transfers_` by server; whoever
  // waits has never been given to libcurl.
  std::deque<std::unique_ptr<CurlTransfer>> waiting_;
  std::unordered_map<const CurlClient*, std::unique_ptr<CurlTransfer>> transfers_;
  std::map<std::string, std::size_t> perServer_;
};

}  // namespace tq::internal
