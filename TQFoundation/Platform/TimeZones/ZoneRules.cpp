#include "TQFoundation/Platform/TimeZones/ZoneRules.h"

#include <algorithm>
#include <cstddef>

namespace tq {

void ZoneRules::add(ZoneSeconds time, Offset offset) {
  // Daylight saving for all the year is written as changes back and forth at one moment.
  if (!changes_.empty() && changes_.back().time == time) changes_.pop_back();
  if (!changes_.empty() && time < changes_.back().time) return;
  if (offset != (changes_.empty() ? first_ : changes_.back().offset)) changes_.push_back({time, offset});
}

ZoneSeconds ZoneRules::turnsAfter(ZoneSeconds time) const {
  if (!repeats_ || changes_.empty() || time < changes_.back().time) return 0;
  return ((time - changes_.back().time) / kTurn + 1) * kTurn;
}

std::size_t ZoneRules::changesUpTo(ZoneSeconds time) const {
  const auto after = std::upper_bound(changes_.begin(), changes_.end(), time,
                                      [](ZoneSeconds t, const Change& change) { return t < change.time; });
  return static_cast<std::size_t>(after - changes_.begin());
}

ZoneRules::Offset ZoneRules::offsetAt(ZoneSeconds time) const {
  const std::size_t passed = changesUpTo(time - turnsAfter(time));
  return passed == 0 ? first_ : changes_[passed - 1].offset;
}

ZoneRules::Span ZoneRules::spanAt(ZoneSeconds time) const {
  const ZoneSeconds turns = turnsAfter(time);
  const std::size_t passed = changesUpTo(time - turns);
  return {.begin = passed == 0 ? -kForever : changes_[passed - 1].time + turns,
          .end = passed == changes_.size() ? kForever : changes_[passed].time + turns,
          .offset = passed == 0 ? first_ : changes_[passed - 1].offset};
}

ZoneSeconds ZoneRules::firstMoment(ZoneSeconds wallClock) const {
  Span span = spanAt(wallClock - kFarthestOffset);
  while (span.end != kForever && span.end + span.offset.seconds <= wallClock) span = spanAt(span.end);
  return std::max(span.begin, wallClock - span.offset.seconds);
}

}  // namespace tq
