#include "TQFoundation/Platform/Adapters/Curl/CurlTransfer.h"

#include <strings.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "TQFoundation/Platform/Ports/VolumeInfo.h"

namespace tq::internal {
namespace {

constexpr long kBufferBytes = 512L * 1024;
constexpr long kMaxRedirects = 20;
constexpr std::size_t kMaxHeaderBytes = std::size_t{1} << 20;
constexpr std::int64_t kSpaceCheckBytes = std::int64_t{4} << 20;
constexpr std::chrono::milliseconds kReportInterval{50};
constexpr std::chrono::milliseconds kLongestTimeout = std::chrono::hours(24 * 20);  // libcurl counts in int

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

bool beginsWith(std::string_view text, std::string_view lowerCaseBegin) {
  return text.size() >= lowerCaseBegin.size() &&
         ::strncasecmp(text.data(), lowerCaseBegin.data(), lowerCaseBegin.size()) == 0;
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

}  // namespace

CurlTransfer::CurlTransfer(std::shared_ptr<CurlClient> client, NSURLRequest request,
                           const NSURLSessionConfiguration& configuration)
    : client_(std::move(client)),
      request_(std::move(request)),
      configuration_(configuration),
      timeout_(std::clamp(configuration.timeoutIntervalForRequest, std::chrono::milliseconds::zero(),
                          kLongestTimeout)),
      file_(configuration, request_.url) {}

std::string_view CurlTransfer::server() const {
  const std::string_view url = request_.url.absoluteString();
  const std::size_t slashes = url.find("//");
  return slashes == std::string_view::npos ? url : url.substr(0, url.find_first_of("/?#", slashes + 2));
}

std::optional<NSError> CurlTransfer::prepare() {
  lastByte_ = Clock::now();
  bodyBegun_ = asksAgain_ = false;
  if (!request_.url.isHTTP()) return urlError(NSURLErrorUnsupportedURL, "only http and https are spoken");
  if (auto error = checkDestination()) return error;
  handle_.reset(curl_easy_init());
  if (!handle_) return urlError(NSURLErrorUnknown, "no memory is left for the transfer");
  if (!applyOptions() || !applyRange())
    return urlError(NSURLErrorUnknown, "the transfer library refuses its options");
  return std::nullopt;
}

bool CurlTransfer::applyOptions() {
  const auto set = [this](CURLoption option, auto value) {
    return curl_easy_setopt(handle(), option, value) == CURLE_OK;
  };
  void* const self = this;
  return set(CURLOPT_URL, request_.url.absoluteString().c_str()) &&
         set(CURLOPT_PROTOCOLS_STR, "http,https") && set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https") &&
         set(CURLOPT_FOLLOWLOCATION, 1L) && set(CURLOPT_MAXREDIRS, kMaxRedirects) &&
         set(CURLOPT_BUFFERSIZE, kBufferBytes) && set(CURLOPT_NOSIGNAL, 1L) &&
         // Without it a cancel waits for the system's resolver, which may take 10 s to give up.
         set(CURLOPT_QUICK_EXIT, 1L) &&
         // Connecting is under the same rule as all else: `deadline` ends what brings no byte.
         set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(timeout_.count())) &&
         set(CURLOPT_ERRORBUFFER, reason_.data()) && set(CURLOPT_PRIVATE, self) &&
         set(CURLOPT_WRITEFUNCTION, &onBody) && set(CURLOPT_WRITEDATA, self) &&
         set(CURLOPT_HEADERFUNCTION, &onHeader) && set(CURLOPT_HEADERDATA, self) &&
         set(CURLOPT_OPENSOCKETFUNCTION, &onOpenSocket) && set(CURLOPT_OPENSOCKETDATA, self);
}

// `CURLOPT_RESUME_FROM` would fail on a server that sends the whole file; the plain range lets `beginBody`
// decide.
bool CurlTransfer::applyRange() {
  const auto& rest = file_.claimRest();
  if (!rest) return true;
  const std::string range = std::to_string(rest->first) + '-';
  headers_.reset(curl_slist_append(nullptr, ("If-Range: " + rangeCondition(rest->content)).c_str()));
  return headers_ && curl_easy_setopt(handle(), CURLOPT_RANGE, range.c_str()) == CURLE_OK &&
         curl_easy_setopt(handle(), CURLOPT_HTTPHEADER, headers_.get()) == CURLE_OK;
}

// A file that is made there and removed again shows what no other question does: a read-only volume, a folder
// without write permission, a volume without inodes.
std::optional<NSError> CurlTransfer::checkDestination() const {
  if (!configuration_.checksDestinationFolder) return std::nullopt;
  TemporaryFile trial;
  const int error = trial.createIn(configuration_.destinationFolder);
  if (error == 0) return std::nullopt;
  return fileWriteError(error, configuration_.destinationFolder, "cannot create a file in");
}

std::optional<NSError> CurlTransfer::check(Clock::time_point now) {
  if (const int error = file_.prepareTemporary()) return file_.error(error);
  if (now < deadline()) return std::nullopt;
  return urlError(NSURLErrorTimedOut, "no data came for too long");
}

std::size_t CurlTransfer::onHeader(char* bytes, std::size_t size, std::size_t count, void* self) {
  return static_cast<CurlTransfer*>(self)->acceptHeader({bytes, size * count}) ? size * count : 0;
}

std::size_t CurlTransfer::onBody(char* bytes, std::size_t size, std::size_t count, void* self) {
  auto* const transfer = static_cast<CurlTransfer*>(self);
  return transfer->write(bytes, size * count) ? size * count : CURL_WRITEFUNC_ERROR;
}

// Child processes of the host must not keep connections open.
curl_socket_t CurlTransfer::onOpenSocket(void* self, curlsocktype, curl_sockaddr* address) {
  const int number = ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
  if (number < 0) static_cast<CurlTransfer*>(self)->socketError_ = errno;
  return number < 0 ? CURL_SOCKET_BAD : number;
}

// One header, one trailer, or a status line. libcurl bounds the headers of a response but keeps every trailer
// in memory, so all are counted here.
bool CurlTransfer::acceptHeader(std::string_view line) {
  constexpr std::string_view kLength = "content-length:";
  lastByte_ = Clock::now();
  headerBytes_ += line.size();
  if (headerBytes_ > kMaxHeaderBytes)
    return refuse(urlError(NSURLErrorBadServerResponse, "the headers of its response do not end"));
  if (bodyBegun_) return true;
  if (beginsWith(line, "http/")) beginResponse();
  if (!beginsWith(line, kLength)) return true;
  const std::string_view length = trimmed(line.substr(kLength.size()));
  if (announcedLength_.empty()) announcedLength_ = length;
  return announcedLength_ == length ||
         refuse(urlError(NSURLErrorBadServerResponse, "its response announces two lengths"));
}

// What came over https must not lead back to plain http, at the first redirect or at a later one.
void CurlTransfer::beginResponse() {
  announcedLength_.clear();
  const char* url = nullptr;
  curl_easy_getinfo(handle(), CURLINFO_EFFECTIVE_URL, &url);
  if (url != nullptr && beginsWith(url, "https:"))
    curl_easy_setopt(handle(), CURLOPT_REDIR_PROTOCOLS_STR, "https");
}

bool CurlTransfer::write(const char* bytes, std::size_t count) {
  const auto coming = static_cast<std::int64_t>(count);
  lastByte_ = Clock::now();
  if (!bodyBegun_ && !beginBody()) return false;
  if (file_.rest() && total_ + coming > expected_) {
    file_.discard();
    return refuse(urlError(NSURLErrorBadServerResponse, "more came than the rest of the file"));
  }
  if (!leavesSpaceFor(coming)) return false;
  if (const int error = file_.write(bytes, count)) return refuse(file_.error(error));
  total_ += coming;
  if (lastByte_ - lastReport_ >= kReportInterval) reportProgress(lastByte_);
  return true;
}

// The bodies of redirects are not delivered, so what libcurl knows now belongs to the last response. Returns
// false when its body is not wanted.
bool CurlTransfer::beginBody() {
  bodyBegun_ = true;
  const ResponseHead head = responseHead();
  const BodyUse use = configuration_.partials ? useOf(head, file_.rest()) : BodyUse::apart;
  if (use == BodyUse::asksAgain) {
    asksAgain_ = true;
    return false;
  }
  if (use == BodyUse::refused)
    return refuse(urlError(NSURLErrorBadServerResponse, "its response is a part that was not asked for"));
  NSHTTPURLResponse response{.statusCode = head.status};
  expected_ = head.contentLength;
  if (use == BodyUse::continues) {
    response.continuedFrom = total_ = file_.rest()->first;
    expected_ = file_.rest()->content.total;
  }
  curl_off_t seconds = 0;
  if (curl_easy_getinfo(handle(), CURLINFO_RETRY_AFTER, &seconds) == CURLE_OK && seconds > 0)
    response.retryAfter = std::chrono::seconds(seconds);
  client_->responded(response);
  int error = file_.begin(use, head);
  if (error == 0) error = file_.reserve(expected_);
  return error == 0 || refuse(file_.error(error));
}

ResponseHead CurlTransfer::responseHead() const {
  const auto header = [this](const char* name) -> std::string {
    curl_header* found = nullptr;
    return curl_easy_header(handle(), name, 0, CURLH_HEADER, -1, &found) == CURLHE_OK ? found->value : "";
  };
  long status = 0;
  curl_off_t length = -1;
  curl_easy_getinfo(handle(), CURLINFO_RESPONSE_CODE, &status);
  curl_easy_getinfo(handle(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
  return {.status = static_cast<int>(status),
          .contentLength = length,
          .entityTag = header("ETag"),
          .lastModified = header("Last-Modified"),
          .date = header("Date"),
          .contentRange = header("Content-Range"),
          .contentEncoding = header("Content-Encoding")};
}

// Before the first byte, and again every few MiB: others use the volume as well. A volume that does not say
// what is free has no limit.
bool CurlTransfer::leavesSpaceFor(std::int64_t count) {
  if (configuration_.minimumFreeBytes == 0) return true;
  if (checkedSpace_ < count) {
    const auto free = VolumeInfo::shared()->freeBytes(file_.path().parent_path());
    const std::int64_t unreserved = file_.hasReserved() ? 0
                                    : expected_ < 0     ? kSpaceCheckBytes
                                                        : expected_ - total_;
    const auto coming = static_cast<std::uint64_t>(unreserved);
    if (free && (*free < coming || *free - coming < configuration_.minimumFreeBytes)) {
      return refuse(makeError(NSCocoaErrorDomain, NSFileWriteOutOfSpaceError,
                              "cannot fetch " + withoutSecrets(request_.url.absoluteString()) +
                                  ": too little space would be left free in " +
                                  file_.path().parent_path().string()));
    }
    checkedSpace_ = std::max(kSpaceCheckBytes, count);
  }
  checkedSpace_ -= count;
  return true;
}

void CurlTransfer::reportProgress(Clock::time_point now) {
  client_->received(total_ - reported_, total_, expected_);
  reported_ = total_;
  lastReport_ = now;
}

bool CurlTransfer::finish(CURLcode result) {
  const bool isWanted = result == CURLE_OK && (bodyBegun_ || beginBody());
  if (asksAgain_) {
    file_.forgetRest();
    return false;
  }
  if (auto error = isWanted ? close() : refusal_ ? refusal_ : errorOf(result)) {
    fail(*error);
  } else {
    if (total_ != reported_) reportProgress(Clock::now());
    client_->ended(std::nullopt, file_.release());
  }
  return true;
}

// A full disk may show only here. A server may send less than the rest and end well.
std::optional<NSError> CurlTransfer::close() {
  if (file_.rest() && total_ != expected_)
    return urlError(NSURLErrorNetworkConnectionLost, "less came than the rest of the file");
  if (const int error = file_.finish()) return file_.error(error);
  return std::nullopt;
}

void CurlTransfer::fail(const NSError& error) {
  if (error.domain == NSURLErrorDomain && error.code == NSURLErrorCancelled) {
    file_.discard();
  } else {
    file_.abandon();
  }
  client_->ended(error, {});
}

// For the callbacks of libcurl: false ends the transfer, and `finish` then finds why.
bool CurlTransfer::refuse(NSError error) {
  refusal_ = std::move(error);
  return false;
}

NSError CurlTransfer::errorOf(CURLcode result) const {
  const std::int64_t code = codeOf(result);
  if (result == CURLE_COULDNT_CONNECT && (socketError_ == EMFILE || socketError_ == ENFILE))
    return urlError(code, "no connection: " + std::generic_category().message(socketError_));
  if (result == CURLE_UNSUPPORTED_PROTOCOL)
    return urlError(code, "a redirect leads away from http and https, or from https to http");
  return urlError(code, reason_[0] != '\0' ? reason_.data() : curl_easy_strerror(result));
}

NSError CurlTransfer::urlError(std::int64_t code, std::string_view reason) const {
  const std::string& url = request_.url.absoluteString();
  NSError error =
      makeError(NSURLErrorDomain, code, "cannot fetch " + withoutSecrets(url) + ": " + std::string(reason));
  error.userInfo.emplace(NSURLErrorFailingURLStringErrorKey, url);
  return error;
}

}  // namespace tq::internal
