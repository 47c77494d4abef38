#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// The messages an object handles: a table from exact name to what is called.
///
///     struct Player : AAPLStateMachineDelegate {
///       Player() {
///         messages().implement("didEnterPlaying", [this] { startClock(); });
///         messages().implement("didExitPlaying", [this] { stopClock(); });
///       }
///     };
///
/// Messages may be added, replaced and removed at any time, also from inside a message: the next one sent
/// is looked up in the table as it is then. A message that removes itself still runs to its end.
///
/// Not thread-safe: one thread at a time.
class TQ_API AAPLMessageTable {
 public:
  using Message = std::function<void()>;

  AAPLMessageTable() = default;
  AAPLMessageTable(const AAPLMessageTable&) = delete;
  AAPLMessageTable& operator=(const AAPLMessageTable&) = delete;

  /// Has `message` called for `name`, instead of any earlier one. An empty message removes the name.
  void implement(std::string name, Message message);

  /// Returns whether there is a message of exactly this name.
  [[nodiscard]] bool respondsTo(std::string_view name) const { return messages_.contains(name); }

  /// Calls the message of this name, if there is one, and returns whether there is. What the message throws
  /// is passed on.
  bool perform(std::string_view name);

 private:
  struct NameHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const { return std::hash<std::string_view>()(name); }
  };

  // Shared with the calls under way, which may remove what they run.
  std::unordered_map<std::string, std::shared_ptr<const Message>, NameHash, std::equal_to<>> messages_;
};

}  // namespace tq
