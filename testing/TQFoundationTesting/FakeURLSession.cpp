#include "TQFoundationTesting/FakeURLSession.h"

#include <iterator>
#include <utility>

#include "TQFoundation/Platform/Base/Guarded.h"
#include "TQFoundation/Platform/Files/TemporaryFile.h"
#include "TQFoundation/Platform/Folders/Directories.h"

namespace tq {

class FakeDownloadTask final : public NSURLSessionDownloadTask,
                               public std::enable_shared_from_this<FakeDownloadTask> {
 public:
  FakeDownloadTask(std::shared_ptr<FakeNetwork> network, std::string url,
                   std::weak_ptr<NSURLSessionDownloadDelegate> delegate)
      : network_(std::move(network)), url_(std::move(url)), weakDelegate_(std::move(delegate)) {}

  void resume() override {
    if (begin()) network_->queue_->async([self = shared_from_this()] { self->transfer(); });
  }

  void cancel() override {
    begin();
    network_->queue_->async([self = shared_from_this()] {
      self->end(makeError(NSURLErrorDomain, NSURLErrorCancelled,
                          "cannot fetch " + withoutSecrets(self->url_) + ": cancelled"));
    });
  }

  [[nodiscard]] std::optional<NSHTTPURLResponse> response() const override { return response_.get(); }

 private:
  bool begin() {
    const std::scoped_lock lock(mutex_);
    if (std::exchange(begun_, true)) return false;
    delegate_ = weakDelegate_.lock();
    return true;
  }

  void transfer() {
    if (ended_) return;
    reply_ = network_->answer(url_);
    const auto size = static_cast<std::int64_t>(reply_.body.size());
    auto& totals = reply_.progress;
    const bool whole = !reply_.error && !reply_.stalls;
    if (whole && size > 0 && (totals.empty() || totals.back() != size)) totals.push_back(size);
    if (!reply_.error)
      response_.set(NSHTTPURLResponse{.statusCode = reply_.status, .retryAfter = reply_.retryAfter});
    step(0, 0);
  }

  // Each report is a step of its own, as it would be on a network.
  void step(std::size_t next, std::int64_t last) {
    if (ended_) return;
    if (next < reply_.progress.size()) {
      const std::int64_t total = reply_.progress[next];
      const auto size = static_cast<std::int64_t>(reply_.body.size());
      if (delegate_) delegate_->didWriteData(*this, total - last, total, reply_.expected.value_or(size));
      network_->queue_->async([self = shared_from_this(), next, total] { self->step(next + 1, total); });
    } else if (!reply_.stalls) {
      if (!reply_.error && delegate_) deliver(reply_.body);
      end(reply_.error);
    }
  }

  void deliver(const std::string& body) {
    internal::TemporaryFile file;
    if (file.createIn(NSTemporaryDirectory()) != 0) return;
    if (file.write(body.data(), body.size()) != 0 || file.close() != 0) return;
    delegate_->didFinishDownloadingToURL(*this, URL::fileURLWithPath(file.path()));
  }

  void end(const std::optional<NSError>& error) {
    if (std::exchange(ended_, true)) return;
    if (const auto delegate = std::move(delegate_)) delegate->didCompleteWithError(*this, error);
  }

  const std::shared_ptr<FakeNetwork> network_;
  const std::string url_;
  const std::weak_ptr<NSURLSessionDownloadDelegate> weakDelegate_;
  std::mutex mutex_;
  bool begun_ = false;
  Guarded<std::optional<NSHTTPURLResponse>> response_;

  // The network's queue only, once begun.
  FakeReply reply_;
  std::shared_ptr<NSURLSessionDownloadDelegate> delegate_;
  bool ended_ = false;
};

namespace {

class FakeURLSession final : public NSURLSession {
 public:
  FakeURLSession(std::shared_ptr<FakeNetwork> network, std::weak_ptr<NSURLSessionDownloadDelegate> delegate)
      : network_(std::move(network)), delegate_(std::move(delegate)) {}

  [[nodiscard]] std::shared_ptr<NSURLSessionDownloadTask> downloadTaskWithRequest(
      NSURLRequest request) override {
    return std::make_shared<FakeDownloadTask>(network_, request.url.absoluteString(), delegate_);
  }

 private:
  const std::shared_ptr<FakeNetwork> network_;
  const std::weak_ptr<NSURLSessionDownloadDelegate> delegate_;
};

}  // namespace

std::shared_ptr<FakeNetwork> FakeNetwork::make(std::shared_ptr<DispatchQueue> queue) {
  return std::shared_ptr<FakeNetwork>(new FakeNetwork(std::move(queue)));
}

void FakeNetwork::add(const std::string& url, FakeReply reply) {
  const std::scoped_lock lock(mutex_);
  replies_.insert_or_assign(url, std::move(reply));
}

void FakeNetwork::addNext(const std::string& url, std::vector<FakeReply> replies) {
  const std::scoped_lock lock(mutex_);
  auto& next = next_[url];
  next.insert(next.end(), std::make_move_iterator(replies.begin()), std::make_move_iterator(replies.end()));
}

NSURLSessionMaker FakeNetwork::maker() {
  return [self = shared_from_this()](const NSURLSessionConfiguration&,
                                     std::weak_ptr<NSURLSessionDownloadDelegate> delegate) {
    return std::make_shared<FakeURLSession>(self, std::move(delegate));
  };
}

int FakeNetwork::requests(const std::string& url) const {
  const std::scoped_lock lock(mutex_);
  const auto found = requests_.find(url);
  return found == requests_.end() ? 0 : found->second;
}

FakeReply FakeNetwork::answer(const std::string& url) {
  const std::scoped_lock lock(mutex_);
  ++requests_[url];
  if (auto& next = next_[url]; !next.empty()) {
    auto reply = std::move(next.front());
    next.pop_front();
    return reply;
  }
  if (const auto found = replies_.find(url); found != replies_.end()) return found->second;
  return {.error = makeError(NSURLErrorDomain, NSURLErrorCannotFindHost,
                             "cannot fetch " + withoutSecrets(url) + ": no such host")};
}

}  // namespace tq
