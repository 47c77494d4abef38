// Files of zone databases and rules of POSIX: whatever they say, offsets stay within a day or so, stretches
// of time join, and the first moment of a wall-clock time shows it or a later one.

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "TQFoundation/Platform/TimeZones/ZoneRules.h"

namespace {

using tq::ZoneRules;
using tq::ZoneSeconds;

void require(bool holds) {
  if (!holds) std::abort();
}

void look(const ZoneRules& rules) {
  for (const ZoneSeconds time :
       {ZoneSeconds{-1'000'000'000'000}, ZoneSeconds{-1}, ZoneSeconds{0}, ZoneSeconds{1'700'000'000},
        ZoneSeconds{4'000'000'000}, ZoneSeconds{1'000'000'000'000'000}}) {
    const ZoneRules::Span span = rules.spanAt(time);
    require(span.begin <= time && time < span.end && span.offset == rules.offsetAt(time));
    require(std::abs(span.offset.seconds) <= ZoneRules::kFarthestOffset);
    if (span.end != ZoneRules::kForever) require(rules.spanAt(span.end).begin == span.end);
    const ZoneSeconds first = rules.firstMoment(time);
    require(first + rules.offsetAt(first).seconds >= time);
    require(first - 1 + rules.offsetAt(first - 1).seconds < time);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  if (const auto rules = ZoneRules::ofFile(bytes)) look(*rules);
  if (const auto rules = ZoneRules::ofPosix(bytes)) look(*rules);
  return 0;
}
