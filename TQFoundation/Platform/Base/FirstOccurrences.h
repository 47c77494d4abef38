#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace tq::internal {

/// Finds which elements of a sequence are the first of their kind: a hash table of positions, which holds no
/// element itself.
///
///     internal::FirstOccurrences<std::uint32_t> seen(items.size());
///     const bool isNew = seen.insert(hash(item), position, [&](auto other) { return kept[other] == item; });
///
/// `Position` is an unsigned type that also bounds the table: positions reach `kMaximumCount - 1`.
///
/// A look-up starts where the hash says and walks on to a free slot, of which a quarter are; hashes that all
/// collide make it slow, never endless. Bits of the hash beside each position spare nearly all needless
/// comparisons.
///
/// Not thread-safe: one thread at a time.
template <class Position>
class FirstOccurrences {
 public:
  /// The most positions for which the stored bits of a hash suffice at any size of the table.
  static constexpr std::size_t kMaximumCount = std::size_t{1} << (std::numeric_limits<Position>::digits - 2);

  /// A table that holds `expected` positions without growing.
  explicit FirstOccurrences(std::size_t expected) { resize(std::bit_ceil(expected + expected / 3 + 2)); }

  /// Prefetches the slot of `hash`, for an `insert` soon.
  void prefetch(std::size_t hash) const { __builtin_prefetch(&slots_[spread(hash) >> shift_]); }

  /// Inserts `position` and returns true, unless an equal element is there already: one that was inserted
  /// with the same hash and for whose position `isEqual` returns true.
  template <class IsEqual>
  bool insert(std::size_t hash, std::size_t position, IsEqual isEqual) {
    const Position bits = spread(hash);
    std::size_t slot = bits >> shift_;
    for (; slots_[slot].next != 0; slot = (slot + 1) & (slots_.size() - 1)) {
      if (slots_[slot].bits == bits && isEqual(std::size_t{slots_[slot].next} - 1)) return false;
    }
    slots_[slot] = {bits, static_cast<Position>(position + 1)};
    if (++count_ > slots_.size() / 4 * 3) grow();
    return true;
  }

 private:
  struct Slot {
    Position bits;
    Position next;  // The position plus one; zero marks a free slot.
  };

  // Standard hashes of numbers are the numbers: the product carries each of their bits to the upper end.
  static Position spread(std::uint64_t hash) {
    constexpr std::uint64_t kGoldenRatio = 0x9E3779B97F4A7C15;
    const std::uint64_t product = (hash ^ (hash >> 32)) * kGoldenRatio;
    return static_cast<Position>(product >> (64 - std::numeric_limits<Position>::digits));
  }

  void resize(std::size_t size) {
    slots_.assign(size, Slot{});
    shift_ = std::numeric_limits<Position>::digits - std::countr_zero(size);
  }

  void grow() {
    const std::vector<Slot> old = std::exchange(slots_, {});
    resize(old.size() * 2);
    for (const Slot& entry : old) {
      if (entry.next == 0) continue;
      std::size_t slot = entry.bits >> shift_;
      while (slots_[slot].next != 0) slot = (slot + 1) & (slots_.size() - 1);
      slots_[slot] = entry;
    }
  }

  std::vector<Slot> slots_;
  int shift_ = 0;
  std::size_t count_ = 0;
};

}  // namespace tq::internal
