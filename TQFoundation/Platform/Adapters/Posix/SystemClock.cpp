#include "TQFoundation/Platform/Base/NeverDestroyed.h"
#include "TQFoundation/Platform/Ports/Clock.h"

namespace tq {
namespace {

class SystemClock final : public Clock {
 public:
  [[nodiscard]] Date now() const override { return std::chrono::system_clock::now(); }
};

}  // namespace

const std::shared_ptr<const Clock>& Clock::shared() {
  static const NeverDestroyed<std::shared_ptr<const Clock>> clock(std::make_shared<const SystemClock>());
  return *clock;
}

}  // namespace tq
