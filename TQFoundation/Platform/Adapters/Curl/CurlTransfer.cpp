#include "TQFoundation/Platform/Adapters/Curl/CurlTransfer.h"

#include <sys/stat.h>

#include <string>
#include <utility>

#include "TQFoundation/Platform/Folders/Directories.h"

namespace tq {
namespace {

namespace fs = std::filesystem;

constexpr long kBufferBytes = 512L * 1024;
constexpr long kMaxRedirects = 20;
constexpr std::chrono::milliseconds kReportInterval{50};

std::int64_t codeOf(CURLcode result) {
  switch (result) {
    case CURLE_URL_MALFORMAT:
      return NSURLErrorBadURL;
    case CURLE_UNSUPPORTED_PROTOCOL:
      return NSURLErrorUnsupportedURL;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return NSURLErrorCannotFindHost;
    case CURLE_COULDNT_CONNECT:
      return NSURLErrorCannotConnectToHost;
    case CURLE_OPERATION_TIMEDOUT:
      return NSURLErrorTimedOut;
    case CURLE_TOO_MANY_REDIRECTS:
      return NSURLErrorHTTPTooManyRedirects;
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
      return NSURLErrorNetworkConnectionLost;
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
      return NSURLErrorBadServerResponse;
    case CURLE_PEER_FAILED_VERIFICATION:
      return NSURLErrorServerCertificateUntrusted;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CIPHER:
    case CURLE_USE_SSL_FAILED:
      return NSURLErrorSecureConnectionFailed;
    default:
      return NSURLErrorUnknown;
  }
}

bool onSameVolume(const fs::path& a, const fs::path& b) {
  struct stat infoA {};
  struct stat infoB {};
  return ::stat(a.c_str(), &infoA) == 0 && ::stat(b.c_str(), &infoB) == 0 && infoA.st_dev == infoB.st_dev;
}

}  // namespace

CurlTransfer::CurlTransfer(std::shared_ptr<CurlClient> client, NSURLRequest request,
                           const NSURLSessionConfiguration& configuration)
    : client_(std::move(client)), request_(std::move(request)), configuration_(configuration) {}

CurlTransfer::~CurlTransfer() {
  file_.remove();
}

std::optional<NSError> CurlTransfer::prepare(CURL* handle) {
  handle_ = handle;
  if (handle == nullptr) return urlError(NSURLErrorUnknown, "the transfer engine has no handle for it");
  if (!request_.url.isHTTP()) return urlError(NSURLErrorUnsupportedURL, "only http and https are spoken");
  if (!applyOptions()) return urlError(NSURLErrorUnknown, "the transfer engine refuses its options");
  return std::nullopt;
}

CURL* CurlTransfer::makeHandle() {
  CURL* const handle = curl_easy_init();
  const auto set = [handle](CURLoption option, auto value) {
    return curl_easy_setopt(handle, option, value) == CURLE_OK;
  };
  if (handle != nullptr && set(CURLOPT_PROTOCOLS_STR, "http,https") &&
      set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https") && set(CURLOPT_FOLLOWLOCATION, 1L) &&
      set(CURLOPT_MAXREDIRS, kMaxRedirects) && set(CURLOPT_BUFFERSIZE, kBufferBytes) &&
      set(CURLOPT_NOSIGNAL, 1L) &&
      // Without it a cancel waits for the system's resolver, which may take 10 s to give up.
      set(CURLOPT_QUICK_EXIT, 1L) && set(CURLOPT_WRITEFUNCTION, &onBody) &&
      set(CURLOPT_HEADERFUNCTION, &onHeader))
    return handle;
  curl_easy_cleanup(handle);
  return nullptr;
}

bool CurlTransfer::applyOptions() {
  const auto set = [this](CURLoption option, auto value) {
    return curl_easy_setopt(handle_, option, value) == CURLE_OK;
  };
  return set(CURLOPT_URL, request_.url.absoluteString().c_str()) &&
         // Connecting is under the same rule as all else: `deadline` ends what brings no byte.
         set(CURLOPT_CONNECTTIMEOUT_MS,
             static_cast<long>(configuration_.timeoutIntervalForRequest.count())) &&
         set(CURLOPT_ERRORBUFFER, reason_.data()) && set(CURLOPT_PRIVATE, static_cast<void*>(this)) &&
         set(CURLOPT_WRITEDATA, static_cast<void*>(this)) &&
         set(CURLOPT_HEADERDATA, static_cast<void*>(this));
}

// In the temporary folder, unless the file could not be renamed from there to where it is wanted.
bool CurlTransfer::openFile() {
  if (!file_.path().empty()) return true;
  const fs::path temporary = NSTemporaryDirectory();
  const fs::path& wanted = configuration_.destinationFolder;
  if (!wanted.empty() && !onSameVolume(wanted, temporary) && file_.createIn(wanted) == 0) return true;
  const int error = file_.createIn(temporary);
  if (error != 0) fileError_ = fileWriteError(error, temporary, "cannot create a temporary file in");
  return error == 0;
}

std::size_t CurlTransfer::onHeader(char*, std::size_t size, std::size_t count, void* self) {
  static_cast<CurlTransfer*>(self)->lastByte_ = Clock::now();
  return size * count;
}

std::size_t CurlTransfer::onBody(char* bytes, std::size_t size, std::size_t count, void* self) {
  auto* const transfer = static_cast<CurlTransfer*>(self);
  return transfer->write(bytes, size * count) ? size * count : CURL_WRITEFUNC_ERROR;
}

bool CurlTransfer::write(const char* bytes, std::size_t count) {
  lastByte_ = Clock::now();
  if (!openFile()) return false;
  if (!bodyBegun_) beginBody();
  if (const int error = file_.write(bytes, count)) {
    fileError_ = fileWriteError(error, file_.path(), "cannot write to");
    return false;
  }
  total_ += static_cast<std::int64_t>(count);
  if (lastByte_ - lastReport_ >= kReportInterval) reportProgress(lastByte_);
  return true;
}

// Bodies of redirects never come here, so what curl knows now is of the answer itself.
void CurlTransfer::beginBody() {
  bodyBegun_ = true;
  long status = 0;
  curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &status);
  client_->responded({.statusCode = static_cast<int>(status)});
  curl_off_t length = -1;
  curl_easy_getinfo(handle_, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
  expected_ = length;
}

void CurlTransfer::reportProgress(Clock::time_point now) {
  client_->received(total_ - reported_, total_, expected_);
  reported_ = total_;
  lastReport_ = now;
}

void CurlTransfer::finish(CURLcode result) {
  if (result != CURLE_OK || !openFile()) return fail(fileError_ ? *fileError_ : errorOf(result));
  if (!bodyBegun_) beginBody();
  if (auto error = closeFile()) return fail(*error);
  if (total_ != reported_) reportProgress(Clock::now());
  client_->ended(std::nullopt, file_.release());
}

void CurlTransfer::fail(const NSError& error) {
  file_.remove();
  client_->ended(error, {});
}

NSError CurlTransfer::errorOf(CURLcode result) const {
  return urlError(codeOf(result), reason_[0] != '\0' ? reason_.data() : curl_easy_strerror(result));
}

NSError CurlTransfer::urlError(std::int64_t code, std::string_view reason) const {
  const std::string& url = request_.url.absoluteString();
  NSError error =
      makeError(NSURLErrorDomain, code, "cannot fetch " + withoutSecrets(url) + ": " + std::string(reason));
  error.userInfo.emplace(NSURLErrorFailingURLStringErrorKey, url);
  return error;
}

// A full disk may show only here.
std::optional<NSError> CurlTransfer::closeFile() {
  if (const int error = file_.close()) return fileWriteError(error, file_.path(), "cannot write to");
  return std::nullopt;
}

}  // namespace tq
