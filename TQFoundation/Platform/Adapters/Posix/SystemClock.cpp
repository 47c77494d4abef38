#include "TQFoundation/Platform/Ports/Clock.h"

namespace tq {
namespace {

class SystemClock final : public Clock {
 public:
  [[nodiscard]] Date now() const override { return std::chrono::system_clock::now(); }
};

}  // namespace

const std::shared_ptr<const Clock>& Clock::shared() {
  static const auto& clock = *new std::shared_ptr<const Clock>(std::make_shared<const SystemClock>());
  return clock;
}

}  // namespace tq
