#include "TQFoundation/StateMachine/AAPLMessageTable.h"

#include <utility>

namespace tq {

void AAPLMessageTable::implement(std::string name, Message message) {
  // The former message is destroyed last: what it captured may call back in.
  std::shared_ptr<const Message> former;
  if (message) {
    former = std::exchange(messages_[std::move(name)], std::make_shared<const Message>(std::move(message)));
  } else if (const auto found = messages_.find(name); found != messages_.end()) {
    former = std::move(found->second);
    messages_.erase(found);
  }
}

bool AAPLMessageTable::perform(std::string_view name) {
  const auto found = messages_.find(name);
  if (found == messages_.end()) return false;
  const auto message = found->second;
  (*message)();
  return true;
}

}  // namespace tq
