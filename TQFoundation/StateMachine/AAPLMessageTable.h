#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// The messages an object answers to: a table from exact name to what is called.
///
///     struct Player : AAPLStateMachineDelegate {
///       Player() {
///         messages().implement("didEnterPlaying", [this] { startClock(); });
///         messages().implement("didExitPlaying", [this] { stopClock(); });
///       }
///     };
///
/// Messages may be added, replaced and removed at any time, from inside a message too: what is sent next
/// finds the table as it is then. A message that takes itself away still runs to its end.
///
/// Not thread-safe: one thread at a time.
class TQ_API AAPLMessageTable {
 public:
  using Message = std::function<void()>;

  AAPLMessageTable() = default;
  AAPLMessageTable(const AAPLMessageTable&) = delete;
  AAPLMessageTable& operator=(const AAPLMessageTable&) = delete;

  /// Has `message` called for `name`, in place of what was. An empty one takes the name away.
  void implement(std::string name, Message message);

  /// Whether `name`, to the letter, is answered.
  [[nodiscard]] bool respondsTo(std::string_view name) const { return find(name) != nullptr; }

  /// Calls what `name` stands for. False when that is nothing.
  bool perform(std::string_view name);

  /// What `name` stands for now, or null. Good for `perform` as long as `version` stays the same.
  [[nodiscard]] const Message* find(std::string_view name) const;
  void perform(const Message& message);

  /// A number that no other content of this table, nor any content of another one, ever has. Empty tables
  /// that were never touched share 0.
  [[nodiscard]] std::uint64_t version() const { return version_; }

 private:
  struct NameHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const { return std::hash<std::string_view>()(name); }
  };

  std::unordered_map<std::string, std::unique_ptr<const Message>, NameHash, std::equal_to<>> messages_;
  std::vector<std::unique_ptr<const Message>> takenAway_;  // while one of them may be running
  int running_ = 0;
  std::uint64_t version_ = 0;
};

}  // namespace tq
