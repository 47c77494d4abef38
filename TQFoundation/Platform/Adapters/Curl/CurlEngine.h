#pragma once

#include <curl/curl.h>

#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <vector>

#include "TQFoundation/Platform/Adapters/Curl/CurlTransfer.h"

namespace tq {

/// Runs the transfers of all sessions side by side on one background thread, and keeps their connections for
/// the next ones. Without transfers it occupies no thread.
///
/// `start` and `cancel`: thread-safe. Never destroyed.
class CurlEngine {
 public:
  static CurlEngine& shared();

  /// Starts a transfer that tells `client` on the engine's thread.
  void start(std::shared_ptr<CurlClient> client, NSURLRequest request,
             const NSURLSessionConfiguration& configuration);

  /// Ends `client`'s transfer with `NSURLErrorCancelled`; one that has ended is left alone.
  void cancel(std::shared_ptr<CurlClient> client);

 private:
  struct Command {
    std::shared_ptr<CurlClient> client;
    std::unique_ptr<CurlTransfer> begin;  // null to cancel
  };

  CurlEngine();
  void submit(Command command);
  void run();
  [[nodiscard]] bool takeCommands();
  void begin(const std::shared_ptr<CurlClient>& client, std::unique_ptr<CurlTransfer> transfer);
  void collectFinished();
  void endOverdue();
  [[nodiscard]] int patience() const;
  [[nodiscard]] std::unique_ptr<CurlTransfer> remove(const CurlClient* client, CURLcode result);
  [[nodiscard]] CURL* takeHandle();

  std::mutex mutex_;
  std::vector<Command> commands_;
  bool running_ = false;

  // Whoever runs `run`.
  CURLM* const multi_;
  std::vector<CURL*> spareHandles_;
  std::unordered_map<const CurlClient*, std::unique_ptr<CurlTransfer>> transfers_;
  std::vector<const CurlClient*> begun_;  // since the last turn
};

}  // namespace tq
