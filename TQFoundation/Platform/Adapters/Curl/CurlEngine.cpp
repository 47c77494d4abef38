#include "TQFoundation/Platform/Adapters/Curl/CurlEngine.h"

#include <algorithm>
#include <utility>

#include "TQFoundation/Platform/Queues/DispatchQueue.h"

namespace tq {
namespace {

constexpr std::size_t kMaxSpareHandles = 4;
constexpr std::chrono::milliseconds kLongestSleep{1000};

}  // namespace

CurlEngine& CurlEngine::shared() {
  static auto* const engine = new CurlEngine;
  return *engine;
}

CurlEngine::CurlEngine() : multi_((curl_global_init(CURL_GLOBAL_DEFAULT), curl_multi_init())) {}

void CurlEngine::start(std::shared_ptr<CurlClient> client, NSURLRequest request,
                       const NSURLSessionConfiguration& configuration) {
  auto transfer = std::make_unique<CurlTransfer>(client, std::move(request), configuration);
  submit({.client = std::move(client), .begin = std::move(transfer)});
}

void CurlEngine::cancel(std::shared_ptr<CurlClient> client) {
  submit({.client = std::move(client), .begin = nullptr});
}

void CurlEngine::submit(Command command) {
  {
    const std::scoped_lock lock(mutex_);
    commands_.push_back(std::move(command));
    if (std::exchange(running_, true)) {
      curl_multi_wakeup(multi_);
      return;
    }
  }
  DispatchQueue::global(DispatchQueue::Priority::high)->async([this] { run(); });
}

void CurlEngine::run() {
  while (takeCommands()) {
    int stillRunning = 0;
    curl_multi_perform(multi_, &stillRunning);
    collectFinished();
    endOverdue();
    if (transfers_.empty()) continue;
    for (const CurlClient* const client : std::exchange(begun_, {}))
      if (const auto found = transfers_.find(client); found != transfers_.end()) found->second->openFile();
    curl_multi_poll(multi_, nullptr, 0, patience(), nullptr);
  }
}

// False when there is nothing left to do; the next command then runs the engine again.
bool CurlEngine::takeCommands() {
  std::vector<Command> commands;
  {
    const std::scoped_lock lock(mutex_);
    commands.swap(commands_);
    if (commands.empty() && transfers_.empty()) {
      running_ = false;
      return false;
    }
  }
  for (auto& [client, transfer] : commands) {
    if (transfer) {
      begin(client, std::move(transfer));
    } else if (const auto cancelled = remove(client.get(), CURLE_ABORTED_BY_CALLBACK)) {
      cancelled->fail(cancelled->urlError(NSURLErrorCancelled, "cancelled"));
    }
  }
  return true;
}

void CurlEngine::begin(const std::shared_ptr<CurlClient>& client, std::unique_ptr<CurlTransfer> transfer) {
  CURL* const handle = takeHandle();
  if (const auto error = transfer->prepare(handle)) {
    curl_easy_cleanup(handle);
    return transfer->fail(*error);
  }
  curl_multi_add_handle(multi_, handle);
  transfers_.emplace(client.get(), std::move(transfer));
  begun_.push_back(client.get());
}

void CurlEngine::collectFinished() {
  int left = 0;
  while (const CURLMsg* const message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode result = message->data.result;
    CurlTransfer* transfer = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
    transfer->finish(result);
    static_cast<void>(remove(transfer->client(), result));
  }
}

void CurlEngine::endOverdue() {
  const auto now = CurlTransfer::Clock::now();
  std::vector<const CurlClient*> overdue;
  for (const auto& [client, transfer] : transfers_) {
    if (transfer->deadline() <= now) overdue.push_back(client);
  }
  for (const CurlClient* const client : overdue) {
    const auto transfer = remove(client, CURLE_OPERATION_TIMEDOUT);
    transfer->fail(transfer->urlError(NSURLErrorTimedOut, "no data came for too long"));
  }
}

// In milliseconds: to the next deadline, looked at now and then in any case.
int CurlEngine::patience() const {
  using std::chrono::milliseconds;
  milliseconds patience = kLongestSleep;
  const auto now = CurlTransfer::Clock::now();
  for (const auto& [client, transfer] : transfers_)
    patience = std::min(patience, std::chrono::ceil<milliseconds>(transfer->deadline() - now));
  return static_cast<int>(std::max(patience, milliseconds::zero()).count());
}

// A handle serves again after a success only: some failures leave it with a buffer that refuses new options.
std::unique_ptr<CurlTransfer> CurlEngine::remove(const CurlClient* client, CURLcode result) {
  const auto found = transfers_.find(client);
  if (found == transfers_.end()) return nullptr;
  auto transfer = std::move(found->second);
  transfers_.erase(found);
  curl_multi_remove_handle(multi_, transfer->handle());
  if (result == CURLE_OK && spareHandles_.size() < kMaxSpareHandles) {
    spareHandles_.push_back(transfer->handle());
  } else {
    curl_easy_cleanup(transfer->handle());
  }
  return transfer;
}

CURL* CurlEngine::takeHandle() {
  if (spareHandles_.empty()) return CurlTransfer::makeHandle();
  CURL* const handle = spareHandles_.back();
  spareHandles_.pop_back();
  return handle;
}

}  // namespace tq
