#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace tq {

/// Seconds since 1970-01-01T00:00:00Z.
using ZoneSeconds = std::int64_t;

/// The offsets from UTC that were, are and will be in force in a zone.
///
/// The rule of the last years is written out for one turn of the Gregorian calendar, the 400 years after
/// which dates fall on the same weekdays again; later times are looked up in that turn.
///
/// Immutable once finished.
class ZoneRules {
 public:
  struct Offset {
    std::int32_t seconds = 0;  ///< Ahead of UTC.
    bool daylightSaving = false;
    friend bool operator==(const Offset&, const Offset&) = default;
  };

  /// A stretch of time with one offset: from `begin`, before `end`.
  struct Span {
    ZoneSeconds begin;
    ZoneSeconds end;
    Offset offset;
  };

  static constexpr ZoneSeconds kForever = std::int64_t{1} << 60;
  static constexpr ZoneSeconds kTurn = std::int64_t{146'097} * 86'400;

  /// No offset is farther from zero than this.
  static constexpr std::int32_t kFarthestOffset = 26 * 3600;

  ZoneRules() = default;  ///< UTC for ever.
  explicit ZoneRules(Offset first) : first_(first) {}

  /// The rules in a file of a zone database (RFC 9636); absent where the bytes are none, or count leap
  /// seconds.
  [[nodiscard]] static std::optional<ZoneRules> ofFile(std::string_view bytes);

  /// The rule that a POSIX `TZ` value stands for; absent where it is none.
  [[nodiscard]] static std::optional<ZoneRules> ofPosix(std::string_view rule);

  /// From `time` on `offset` is in force. Times come in order; those out of order are left out.
  void add(ZoneSeconds time, Offset offset);

  /// Extends the rules by a POSIX rule, from after the last time on. False where it is none.
  bool addPosix(std::string_view rule);

  /// Says that the last `kTurn` of the times written out goes round for ever.
  void repeat() { repeats_ = true; }

  [[nodiscard]] Span spanAt(ZoneSeconds time) const;
  [[nodiscard]] Offset offsetAt(ZoneSeconds time) const;

  /// The first second at which wall clocks show `wallClock` or later.
  [[nodiscard]] ZoneSeconds firstMoment(ZoneSeconds wallClock) const;

  friend bool operator==(const ZoneRules&, const ZoneRules&) = default;

 private:
  struct Change {
    ZoneSeconds time;
    Offset offset;
    friend bool operator==(const Change&, const Change&) = default;
  };
  [[nodiscard]] ZoneSeconds turnsAfter(ZoneSeconds time) const;
  [[nodiscard]] std::size_t changesUpTo(ZoneSeconds time) const;

  Offset first_;
  std::vector<Change> changes_;
  bool repeats_ = false;
};

}  // namespace tq
