#pragma once

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "TQFoundation/Platform/Adapters/Curl/TransferFile.h"
#include "TQFoundation/Platform/Ports/NSURLSession.h"

namespace tq::internal {

/// Receives what a transfer reports, on the engine's thread. It must not block.
class CurlClient {
 public:
  virtual ~CurlClient() = default;
  virtual void responded(NSHTTPURLResponse response) = 0;
  virtual void received(std::int64_t bytes, std::int64_t total, std::int64_t expected) = 0;

  /// The last call. Without an error `file` is the whole body, and the client's from now on.
  virtual void ended(const std::optional<NSError>& error, FinishedFile file) = 0;
};

/// One request on one libcurl handle, or two when the rest of a file cannot be had; its body is written to a
/// file.
///
/// The engine's thread only, but for the constructor, `fail` and `urlError` before `prepare`.
class CurlTransfer {
 public:
  using Clock = std::chrono::steady_clock;

  CurlTransfer(std::shared_ptr<CurlClient> client, NSURLRequest request,
               const NSURLSessionConfiguration& configuration);

  /// Makes the handle for the request, and checks the destination when the session asks for that. Returns why
  /// the request cannot be made. The time-out begins here. Again, when `finish` asks for it.
  [[nodiscard]] std::optional<NSError> prepare();

  [[nodiscard]] CURL* handle() const { return handle_.get(); }
  [[nodiscard]] const CurlClient* client() const { return client_.get(); }

  /// Scheme, host and port of the request's URL.
  [[nodiscard]] std::string_view server() const;

  /// Makes the temporary file unless it is there: called while the server prepares its response, so that the
  /// time for it is hidden. Returns why the transfer has to end by now: no byte for too long, or no file.
  [[nodiscard]] std::optional<NSError> check(Clock::time_point now);

  /// When the transfer will have gone without a byte for too long.
  [[nodiscard]] Clock::time_point deadline() const { return lastByte_ + timeout_; }

  /// Ends the transfer with libcurl's `result` and reports it to the client. Returns false when the transfer
  /// is to be made once more instead.
  [[nodiscard]] bool finish(CURLcode result);

  /// Ends the transfer with `error` and reports it to the client.
  void fail(const NSError& error);

  /// Gives up the file, and nothing else.
  void abandonFile() { file_.abandon(); }

  /// The transfer's error of `code`, with a sentence that names the URL.
  [[nodiscard]] NSError urlError(std::int64_t code, std::string_view reason) const;

 private:
  struct HandleCloser {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
  };

  struct HeadersCloser {
    void operator()(curl_slist* headers) const { curl_slist_free_all(headers); }
  };

  [[nodiscard]] bool applyOptions();
  [[nodiscard]] std::optional<NSError> checkDestination() const;
  [[nodiscard]] bool applyRange();
  [[nodiscard]] bool acceptHeader(std::string_view line);
  void beginResponse();
  [[nodiscard]] bool write(const char* bytes, std::size_t count);
  [[nodiscard]] bool beginBody();
  [[nodiscard]] ResponseHead responseHead() const;
  [[nodiscard]] bool leavesSpaceFor(std::int64_t count);
  void reportProgress(Clock::time_point now);
  [[nodiscard]] std::optional<NSError> close();
  [[nodiscard]] NSError errorOf(CURLcode result) const;
  [[nodiscard]] bool refuse(NSError error);
  static std::size_t onBody(char* bytes, std::size_t size, std::size_t count, void* self);
  static std::size_t onHeader(char* bytes, std::size_t size, std::size_t count, void* self);
  static curl_socket_t onOpenSocket(void* self, curlsocktype purpose, curl_sockaddr* address);

  const std::shared_ptr<CurlClient> client_;
  const NSURLRequest request_;
  const NSURLSessionConfiguration configuration_;
  const std::chrono::milliseconds timeout_;
  std::array<char, CURL_ERROR_SIZE> reason_{};          // libcurl writes to it: outlives the handle
  std::unique_ptr<curl_slist, HeadersCloser> headers_;  // and reads these
  std::unique_ptr<CURL, HandleCloser> handle_;
  TransferFile file_;
  std::optional<NSError> refusal_;  // why a callback ended the transfer
  int socketError_ = 0;             // why the system opened no socket, or 0
  std::size_t headerBytes_ = 0;     // of all responses and trailers
  std::string announcedLength_;     // of the present response, as it was written
  std::int64_t expected_ = -1;
  std::int64_t total_ = 0;
  std::int64_t reported_ = 0;
  std::int64_t checkedSpace_ = 0;  // bytes that may be written before the free space is read again
  bool bodyBegun_ = false;
  bool asksAgain_ = false;  // the response is not the rest of the file: the whole is asked for instead
  Clock::time_point lastByte_;
  Clock::time_point lastReport_;
};

}  // namespace tq::internal
