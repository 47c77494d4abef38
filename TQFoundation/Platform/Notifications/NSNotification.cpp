#include "TQFoundation/Platform/Notifications/NSNotification.h"

#include <atomic>
#include <string>

namespace tq {

struct NSNotification::Name::Owned {
  std::string text;
  std::atomic<std::size_t> holders = 1;
};

void NSNotification::Name::own() {
  if (rawValue_.empty()) {
    rawValue_ = {};
    return;
  }
  owned_ = new Owned{std::string(rawValue_)};
  rawValue_ = owned_->text;
}

void NSNotification::Name::retain() const noexcept {
  owned_->holders.fetch_add(1, std::memory_order_relaxed);
}

void NSNotification::Name::release() const noexcept {
  if (owned_->holders.fetch_sub(1, std::memory_order_acq_rel) == 1) delete owned_;
}

}  // namespace tq
