// Hears whether the network can be used, now and whenever that changes.

#include <TQFoundation/Network/TQNetworkObserver.h>
#include <TQFoundation/Platform/Queues/LoopQueue.h>

#include <chrono>
#include <cstdio>

using namespace std::chrono_literals;
using tq::DispatchQueue;

class Screen final : public tq::TQNetworkObserverDelegate {
 public:
  void networkStatusUpdatedWithStatus(bool status) override {
    std::puts(status ? "online: the next clip may be fetched" : "offline: what is here stays playable");
    DispatchQueue::main()->stop();  // a real screen would go on listening
  }
};

int main() {
  const auto screen = std::make_shared<Screen>();
  const auto observer = tq::TQNetworkObserver::initWithDelegate(screen);
  std::printf("at this moment the network %s be used\n", observer->isNetworkReachable() ? "can" : "cannot");

  // The first report follows by itself, on the main queue. Where the system tells nothing none comes.
  DispatchQueue::main()->after(5s, [] { DispatchQueue::main()->stop(); });
  DispatchQueue::main()->run();
}
