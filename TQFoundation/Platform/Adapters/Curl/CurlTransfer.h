#pragma once

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

#include "TQFoundation/Platform/Files/TemporaryFile.h"
#include "TQFoundation/Platform/Ports/NSURLSession.h"

namespace tq {

/// Who hears of a transfer, on the engine's thread. It must not block.
class CurlClient {
 public:
  virtual ~CurlClient() = default;
  virtual void responded(NSHTTPURLResponse response) = 0;
  virtual void received(std::int64_t bytes, std::int64_t total, std::int64_t expected) = 0;

  /// The last call. Without an error `file` holds the whole body and is the client's from now on.
  virtual void ended(const std::optional<NSError>& error, const std::filesystem::path& file) = 0;
};

/// One request on one curl handle, its body written to a temporary file.
///
/// The engine's thread only.
class CurlTransfer {
 public:
  using Clock = std::chrono::steady_clock;

  CurlTransfer(std::shared_ptr<CurlClient> client, NSURLRequest request,
               const NSURLSessionConfiguration& configuration);
  ~CurlTransfer();
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  /// A handle with what all requests have in common, or null.
  [[nodiscard]] static CURL* makeHandle();

  /// Sets `handle` up for the request; answers why that cannot be done. The handle stays the engine's.
  [[nodiscard]] std::optional<NSError> prepare(CURL* handle);
  [[nodiscard]] CURL* handle() const { return handle_; }
  [[nodiscard]] const CurlClient* client() const { return client_.get(); }

  /// Makes the temporary file unless it is there: best while the server thinks about its answer. Without, it
  /// is made for the first bytes; that it cannot be made ends the transfer then.
  bool openFile();

  /// When the transfer will have gone without a byte for too long.
  [[nodiscard]] Clock::time_point deadline() const {
    return lastByte_ + configuration_.timeoutIntervalForRequest;
  }

  /// Ends the transfer with what curl says of it and tells the client.
  void finish(CURLcode result);

  /// Ends the transfer with `error` and tells the client.
  void fail(const NSError& error);

  /// The transfer's error of `code`, with a sentence that names the URL.
  [[nodiscard]] NSError urlError(std::int64_t code, std::string_view reason) const;

 private:
  [[nodiscard]] bool applyOptions();
  [[nodiscard]] NSError errorOf(CURLcode result) const;
  [[nodiscard]] bool write(const char* bytes, std::size_t count);
  void beginBody();
  void reportProgress(Clock::time_point now);
  [[nodiscard]] std::optional<NSError> closeFile();
  static std::size_t onBody(char* bytes, std::size_t size, std::size_t count, void* self);
  static std::size_t onHeader(char* bytes, std::size_t size, std::size_t count, void* self);

  const std::shared_ptr<CurlClient> client_;
  const NSURLRequest request_;
  const NSURLSessionConfiguration configuration_;
  CURL* handle_ = nullptr;
  std::array<char, CURL_ERROR_SIZE> reason_{};
  internal::TemporaryFile file_;
  std::optional<NSError> fileError_;
  std::int64_t expected_ = -1;
  std::int64_t total_ = 0;
  std::int64_t reported_ = 0;
  bool bodyBegun_ = false;
  Clock::time_point lastByte_ = Clock::now();
  Clock::time_point lastReport_{};
};

}  // namespace tq
