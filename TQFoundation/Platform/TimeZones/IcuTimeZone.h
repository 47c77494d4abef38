#pragma once

#include <unicode/timezone.h>

#include <memory>

#include "TQFoundation/Platform/TimeZones/TimeZone.h"

namespace tq {

/// A zone for ICU's calendars and formatters that follows `zone`'s rules, not those of ICU's own database,
/// and goes by its name.
[[nodiscard]] std::unique_ptr<icu::TimeZone> icuTimeZone(const TimeZone& zone);

}  // namespace tq
