#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/StateMachine/AAPLMessageTable.h"

namespace tq {

/// The messages of one way between two states, found in a table once and then sent as often as it is taken.
///
/// Building seven names and looking each of them up costs far more than calling what they stand for. What has
/// been found is good for one version of one table; a message that changes the table, or another target, has
/// the rest found anew.
class TQ_API AAPLEdge : public std::enable_shared_from_this<AAPLEdge> {
 public:
  enum class Moment : std::size_t {
    willChange,
    willEnterTo,
    willEnterFrom,
    didExit,
    didEnter,
    didChangeFrom,
    didChange,
    count
  };

  AAPLEdge(std::optional<std::string> from, std::string to);

  [[nodiscard]] const std::optional<std::string>& from() const { return from_; }
  [[nodiscard]] const std::string& to() const { return to_; }

  /// Calls what `table` has for this moment, if anything.
  void send(Moment moment, AAPLMessageTable& table);

 private:
  friend class AAPLEdges;

  void resolve(const AAPLMessageTable& table);

  const std::optional<std::string> from_;
  const std::string to_;
  AAPLEdge* next_ = nullptr;  // the way taken after this one last time; the machine keeps both
  std::uint64_t version_ = 0;
  std::array<const AAPLMessageTable::Message*, static_cast<std::size_t>(Moment::count)> found_{};
};

/// The ways a machine has taken, by their ends. A machine that takes more than `kMost` different ones
/// remembers the first of them, and has the others' messages found anew each time.
class TQ_API AAPLEdges {
 public:
  static constexpr std::size_t kMost = 1024;

  [[nodiscard]] std::shared_ptr<AAPLEdge> find(const std::optional<std::string>& from, const std::string& to);

 private:
  [[nodiscard]] std::shared_ptr<AAPLEdge> findByEnds(const std::optional<std::string>& from,
                                                     const std::string& to);

  struct Ends {
    std::optional<std::string_view> from;
    std::string_view to;
    friend bool operator==(const Ends&, const Ends&) = default;
  };
  struct EndsHash {
    std::size_t operator()(const Ends& ends) const;
  };

  std::unordered_map<Ends, std::shared_ptr<AAPLEdge>, EndsHash> edges_;  // the keys lie in the edges
  std::shared_ptr<AAPLEdge> latest_;
};

}  // namespace tq
