#include "TQFoundation/Platform/Time/DateComponents.h"

#include <array>
#include <cstddef>

namespace tq {
namespace {

using Part = std::optional<std::int64_t> DateComponents::*;

// In the order of the enumeration.
constexpr std::array<Part, 14> kParts = {
    &DateComponents::era,        &DateComponents::year,
    &DateComponents::month,      &DateComponents::day,
    &DateComponents::hour,       &DateComponents::minute,
    &DateComponents::second,     &DateComponents::nanosecond,
    &DateComponents::weekday,    &DateComponents::weekdayOrdinal,
    &DateComponents::quarter,    &DateComponents::weekOfMonth,
    &DateComponents::weekOfYear, &DateComponents::yearForWeekOfYear,
};

}  // namespace

std::optional<std::int64_t>& DateComponents::operator[](Component component) {
  return this->*kParts[static_cast<std::size_t>(component)];
}

const std::optional<std::int64_t>& DateComponents::operator[](Component component) const {
  return this->*kParts[static_cast<std::size_t>(component)];
}

}  // namespace tq
