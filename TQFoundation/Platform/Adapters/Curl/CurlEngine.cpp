#include "TQFoundation/Platform/Adapters/Curl/CurlEngine.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "TQFoundation/Platform/Base/NeverDestroyed.h"
#include "TQFoundation/Platform/Base/Thread.h"

namespace tq::internal {
namespace {

constexpr std::size_t kMaxTransfersPerServer = 6;
constexpr std::size_t kMaxTransfers = 32;
constexpr std::chrono::milliseconds kLongestSleep = std::chrono::hours(1);

// A transfer takes a socket (two while both kinds of addresses are tried), a file, and three more descriptors
// while its name is resolved. The larger part of what the process may open stays with the host.
std::size_t transfersByOpenFileLimit() {
  constexpr std::size_t kDescriptorsPerTransfer = 8;
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return kMaxTransfers;
  return std::clamp<std::size_t>(limit.rlim_cur / kDescriptorsPerTransfer, 1, kMaxTransfers);
}

int bytesIn(int descriptor, unsigned long direction) {
  int bytes = 0;
  return ::ioctl(descriptor, direction, &bytes) == 0 ? bytes : 0;
}

// libcurl makes its pair of wake-up sockets without close-on-exec and keeps their numbers to itself. They are
// the two on which a wake-up can be seen, before it is taken and not after. What the host opens and uses at
// the same moment could be mistaken for them once, hardly three times in a row.
void closeWakeUpPairOnExec(CURLM* multi) {
  constexpr long kHighest = 65'536;
  constexpr int kRounds = 3;
  const int end = static_cast<int>(std::clamp(::sysconf(_SC_OPEN_MAX), 0L, kHighest));
  std::vector<int> pair;
  for (int descriptor = 0; descriptor < end; ++descriptor)
    if (const int flags = ::fcntl(descriptor, F_GETFD); flags >= 0 && (flags & FD_CLOEXEC) == 0)
      pair.push_back(descriptor);
  const auto hasBytes = [](int descriptor) {
    return bytesIn(descriptor, FIONREAD) > 0 || bytesIn(descriptor, TIOCOUTQ) > 0;
  };
  for (int round = 0; round < kRounds; ++round) {
    curl_multi_wakeup(multi);
    std::erase_if(pair, [&](int descriptor) { return !hasBytes(descriptor); });
    curl_multi_poll(multi, nullptr, 0, 0, nullptr);
    std::erase_if(pair, hasBytes);
  }
  for (const int descriptor : pair) ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

}  // namespace

CurlEngine& CurlEngine::shared() {
  static NeverDestroyed<CurlEngine> engine;
  return *engine;
}

// OpenSSL registers its clean-up inside curl_global_init. Exit handlers run in reverse order, so the engine's
// thread has ended by the time that clean-up frees what a handshake uses.
CurlEngine::CurlEngine()
    : ready_(curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK),
      process_(::getpid()),
      maxTransfers_(transfersByOpenFileLimit()) {
  std::atexit([] { shared().stop(); });
}

void CurlEngine::start(std::shared_ptr<CurlClient> client, NSURLRequest request,
                       const NSURLSessionConfiguration& configuration) {
  auto transfer = std::make_unique<CurlTransfer>(std::move(client), std::move(request), configuration);
  MutexLock lock(mutex_);
  if (const char* const missing = ensureRunning()) {
    lock.unlock();
    return transfer->fail(transfer->urlError(NSURLErrorUnknown, missing));
  }
  commands_.push_back({.begin = std::move(transfer), .cancel = nullptr});
  curl_multi_wakeup(multi_);
}

void CurlEngine::cancel(std::shared_ptr<CurlClient> client) {
  const MutexLock lock(mutex_);
  if (stopping_ || !thread_.joinable()) return;
  commands_.push_back({.begin = nullptr, .cancel = std::move(client)});
  curl_multi_wakeup(multi_);
}

void CurlEngine::addFile(const std::filesystem::path& file) {
  const MutexLock lock(mutex_);
  files_.insert(file);
}

void CurlEngine::removeFile(const std::filesystem::path& file) {
  ::unlink(file.c_str());
  const MutexLock lock(mutex_);
  files_.erase(file);
}

// Returns what is missing, or null when the thread runs. What was missing may be there at the next call.
const char* CurlEngine::ensureRunning() {
  if (stopping_) return "the program is ending";
  if (thread_.joinable()) return nullptr;
  if (!ready_) return "the transfer library cannot be set up";
  if (multi_ == nullptr) multi_ = makeMulti();
  if (multi_ == nullptr) return "no descriptor or memory is left for the transfer engine";
  try {
    thread_ = std::thread([this] { run(); });
  } catch (const std::system_error&) {
    return "the system has no thread left for the transfer engine";
  }
  return nullptr;
}

// Without descriptors libcurl makes an engine that cannot be woken: a first wake-up shows it.
CURLM* CurlEngine::makeMulti() const {
  CURLM* const multi = curl_multi_init();
  if (multi == nullptr) return nullptr;
  const long connections = static_cast<long>(maxTransfers_);
  if (curl_multi_setopt(multi, CURLMOPT_MAX_TOTAL_CONNECTIONS, connections) == CURLM_OK &&
      curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, connections) == CURLM_OK &&
      curl_multi_wakeup(multi) == CURLM_OK) {
    closeWakeUpPairOnExec(multi);
    return multi;
  }
  curl_multi_cleanup(multi);
  return nullptr;
}

// At exit. Transfers and clients are left as they are: their destructors belong to the host, parts of which
// may be gone by now.
void CurlEngine::stop() {
  if (process_ != ::getpid()) return;
  MutexLock lock(mutex_);
  stopping_ = true;
  if (thread_.joinable()) {
    curl_multi_wakeup(multi_);
    std::thread thread = std::move(thread_);
    lock.unlock();
    thread.join();
    lock.lock();
  }
  for (const auto& file : files_) ::unlink(file.c_str());
}

void CurlEngine::run() {
  nameThisThread("tq transfers");
  while (takeCommands()) {
    int stillRunning = 0;
    curl_multi_perform(multi_, &stillRunning);
    collectFinished();
    endFailed();
    beginWaiting();
    curl_multi_poll(multi_, nullptr, 0, patience(), nullptr);
  }
  for (const auto& [client, transfer] : transfers_) transfer->abandonFile();
}

// Returns false when the process exits.
bool CurlEngine::takeCommands() {
  std::vector<Command> commands;
  {
    const MutexLock lock(mutex_);
    if (stopping_) return false;
    commands.swap(commands_);
  }
  for (Command& command : commands) {
    if (command.begin) {
      waiting_.push_back(std::move(command.begin));
    } else {
      cancelNow(command.cancel.get());
    }
  }
  return true;
}

void CurlEngine::cancelNow(const CurlClient* client) {
  auto cancelled = remove(client);
  if (!cancelled) {
    const auto found = std::ranges::find(waiting_, client, &CurlTransfer::client);
    if (found == waiting_.end()) return;
    cancelled = std::move(*found);
    waiting_.erase(found);
  }
  cancelled->fail(cancelled->urlError(NSURLErrorCancelled, "cancelled"));
}

void CurlEngine::beginWaiting() {
  for (auto next = waiting_.begin(); next != waiting_.end() && transfers_.size() < maxTransfers_;)
    next = begin(*next) ? waiting_.erase(next) : std::next(next);
}

// Returns false for one that has to wait for its server.
bool CurlEngine::begin(std::unique_ptr<CurlTransfer>& transfer) {
  std::size_t& running = perServer_[std::string(transfer->server())];
  if (running == kMaxTransfersPerServer) return false;
  auto error = transfer->prepare();
  if (!error) {
    const CURLMcode added = curl_multi_add_handle(multi_, transfer->handle());
    if (added != CURLM_OK) error = transfer->urlError(NSURLErrorUnknown, curl_multi_strerror(added));
  }
  if (error) {
    if (running == 0) perServer_.erase(std::string(transfer->server()));
    transfer->fail(*error);
    return true;
  }
  ++running;
  const CurlClient* const client = transfer->client();
  transfers_.emplace(client, std::move(transfer));
  return true;
}

void CurlEngine::collectFinished() {
  int left = 0;
  while (const CURLMsg* const message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode result = message->data.result;
    CurlTransfer* transfer = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
    const bool isOver = transfer->finish(result);
    auto removed = remove(transfer->client());
    if (!isOver) waiting_.push_front(std::move(removed));
  }
}

void CurlEngine::endFailed() {
  const auto now = CurlTransfer::Clock::now();
  std::vector<std::pair<const CurlClient*, NSError>> failed;
  for (const auto& [client, transfer] : transfers_)
    if (auto error = transfer->check(now)) failed.emplace_back(client, std::move(*error));
  for (const auto& [client, error] : failed) remove(client)->fail(error);
}

// Returns the milliseconds to the next deadline, bounded.
int CurlEngine::patience() const {
  using std::chrono::milliseconds;
  milliseconds patience = kLongestSleep;
  const auto now = CurlTransfer::Clock::now();
  for (const auto& [client, transfer] : transfers_)
    patience = std::min(patience, std::chrono::ceil<milliseconds>(transfer->deadline() - now));
  return static_cast<int>(std::max(patience, milliseconds::zero()).count());
}

std::unique_ptr<CurlTransfer> CurlEngine::remove(const CurlClient* client) {
  const auto found = transfers_.find(client);
  if (found == transfers_.end()) return nullptr;
  auto transfer = std::move(found->second);
  transfers_.erase(found);
  curl_multi_remove_handle(multi_, transfer->handle());
  const auto count = perServer_.find(std::string(transfer->server()));
  if (--count->second == 0) perServer_.erase(count);
  return transfer;
}

}  // namespace tq::internal
