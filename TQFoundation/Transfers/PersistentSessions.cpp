#include "TQFoundation/Transfers/PersistentSessions.h"

#include <utility>

#include "TQFoundation/Transfers/PersistentTask.h"

namespace tq {
namespace {

class PersistentSession final : public NSURLSession {
 public:
  PersistentSession(std::shared_ptr<const internal::Persistence> persistence,
                    NSURLSessionConfiguration configuration,
                    std::weak_ptr<NSURLSessionDownloadDelegate> delegate)
      : persistence_(std::move(persistence)),
        configuration_(std::move(configuration)),
        delegate_(std::move(delegate)),
        queue_(persistence_->ports.makeQueue()) {}

  [[nodiscard]] std::shared_ptr<NSURLSessionDownloadTask> downloadTaskWithRequest(
      NSURLRequest request) override {
    return std::make_shared<internal::PersistentTask>(persistence_, configuration_, std::move(request),
                                                      queue_, delegate_);
  }

 private:
  const std::shared_ptr<const internal::Persistence> persistence_;
  const NSURLSessionConfiguration configuration_;
  const std::weak_ptr<NSURLSessionDownloadDelegate> delegate_;
  const std::shared_ptr<DispatchQueue> queue_;
};

}  // namespace

NSURLSessionMaker persistentSessions(NSURLSessionMaker inner, const RetryPolicy& policy,
                                     TransferStatusHandler onStatus, RetryPorts ports) {
  auto persistence = std::make_shared<const internal::Persistence>(
      internal::Persistence{std::move(inner), policy, std::move(onStatus), std::move(ports)});
  return [persistence = std::move(persistence)](const NSURLSessionConfiguration& configuration,
                                                std::weak_ptr<NSURLSessionDownloadDelegate> delegate) {
    return std::make_shared<PersistentSession>(persistence, configuration, std::move(delegate));
  };
}

}  // namespace tq
