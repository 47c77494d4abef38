#include "TQFoundation/StateMachine/AAPLMessageTable.h"

#include <atomic>
#include <utility>

namespace tq {
namespace {

std::uint64_t newVersion() {
  static std::atomic<std::uint64_t> latest = 0;
  return ++latest;
}

}  // namespace

void AAPLMessageTable::implement(std::string name, Message message) {
  version_ = newVersion();
  const auto found = messages_.find(name);
  if (found != messages_.end()) {
    if (running_ > 0) takenAway_.push_back(std::move(found->second));
    messages_.erase(found);
  }
  if (message) messages_.emplace(std::move(name), std::make_unique<const Message>(std::move(message)));
}

const AAPLMessageTable::Message* AAPLMessageTable::find(std::string_view name) const {
  const auto found = messages_.find(name);
  return found == messages_.end() ? nullptr : found->second.get();
}

bool AAPLMessageTable::perform(std::string_view name) {
  const Message* const message = find(name);
  if (message != nullptr) perform(*message);
  return message != nullptr;
}

void AAPLMessageTable::perform(const Message& message) {
  ++running_;
  message();
  if (--running_ == 0 && !takenAway_.empty()) takenAway_.clear();
}

}  // namespace tq
