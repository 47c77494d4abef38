// Asks whether there is room for video, and watches that it stays so.

#include <TQFoundation/MediaLoading/TQDiskSpaceHandler.h>
#include <TQFoundation/Platform/Queues/LoopQueue.h>

#include <iostream>

using namespace tq;
using namespace tq;

class Screen final : public TQDiskSpaceHandlerDelegate {
 public:
  bool didReachedMinimumDiskSpaceLimit() override {
    std::cout << "the disk is nearly full\n";
    return true;
  }
};

int main() {
  const auto screen = std::make_shared<Screen>();
  const auto handler = TQDiskSpaceHandler::make();
  handler->setDelegate(screen);
  std::cout << getTotalDiskSpaceInBytes() / (1024 * 1024)
            << " MiB free: " << (handler->hasAvailableFreeSpace() ? "enough" : "not enough") << '\n';

  handler->startMonitoringDiskSpace();  // looks every ten seconds, as long as this thread's loop runs
  DispatchQueue::main()->after(std::chrono::milliseconds(50), [&] {
    handler->stopMonitoringDiskSpace();
    DispatchQueue::main()->stop();
  });
  DispatchQueue::main()->run();
}
