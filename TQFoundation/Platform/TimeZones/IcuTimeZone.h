#pragma once

#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <memory>

#include "TQFoundation/Platform/TimeZones/TimeZone.h"

namespace tq::internal {

/// A zone for ICU's calendars and formatters that follows `zone`'s rules, not those of ICU's own database,
/// and goes by its name.
[[nodiscard]] std::unique_ptr<icu::TimeZone> icuTimeZone(const TimeZone& zone);

/// Lets `format` read the names of zones as zones of `icuTimeZone`. Copies of `format` do not inherit that.
void readZonesByOurRules(icu::SimpleDateFormat& format);

}  // namespace tq::internal
