#include "tools/tq/NetCommand.h"

#include <chrono>
#include <memory>
#include <utility>

#include "TQFoundation/Network/TQReachability.h"
#include "TQFoundation/Platform/Log/Log.h"
#include "TQFoundation/Platform/Queues/LoopQueue.h"
#include "tools/tq/Outcome.h"

namespace tq::tool {
namespace {

constexpr std::chrono::milliseconds kResolvedCheck{20};
constexpr std::size_t kConnectionColumns = 15;

SCNetworkReachabilityRef target(const NetRequest& request) {
  const auto& network = SCNetworkReachabilityProvider::shared();
  return request.host.empty() ? network->createWithAddress({}) : network->createWithName(request.host);
}

// Prints what is new, as soon as it is known: a host's name has to be resolved first.
class Lines {
 public:
  explicit Lines(SCNetworkReachabilityRef target) : target_(std::move(target)) {}

  void show(const TQReachability& reachability) {
    if (!target_->getFlags()) return;
    std::string line = reachability.currentReachabilityString();
    line.resize(kConnectionColumns, ' ');
    line += reachability.description() + '\n';
    if (line == last_) return;
    last_ = line;
    status_ = write(line);
  }

  [[nodiscard]] bool any() const { return !last_.empty(); }
  [[nodiscard]] int status() const { return status_; }

 private:
  const SCNetworkReachabilityRef target_;
  std::string last_;
  int status_ = kExitSuccess;
};

}  // namespace

int net(const NetRequest& request, const Interrupts& interrupts) {
  const auto watched = target(request);
  if (!watched) {
    return fail(request.host.empty() ? std::string("the system refuses to watch its network")
                                     : "cannot watch the way to \"" + request.host + '"');
  }
  Log::setSink([](const LogLine&) {});  // the library's debug lines are not this command's output
  Lines lines(watched);
  const auto reachability = TQReachability::make(watched, !request.host.empty());
  const auto show = [&lines](const TQReachability& now) { lines.show(now); };
  reachability->setWhenReachable(show);
  reachability->setWhenUnreachable(show);
  if (const auto error = reachability->startNotifier()) return fail(error->localizedDescription());
  const auto resolved = DispatchQueue::main()->schedule(kResolvedCheck, RunLoop::Repeats::yes, [&] {
    if (!lines.any()) lines.show(*reachability);
  });

  bool interrupted = false;
  const auto ended = [&] {
    if (lines.any()) resolved->invalidate();
    return interrupted || lines.status() != kExitSuccess || (request.once && lines.any());
  };
  runMainQueue(interrupts, ended, [&] { interrupted = true; });
  resolved->invalidate();
  reachability->stopNotifier();
  reachability->setWhenReachable({});
  reachability->setWhenUnreachable({});
  return lines.status();
}

}  // namespace tq::tool
