#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/URL.h"

namespace tq {

/// Values by name. Look-ups need no `std::string`.
using QueryParameters = std::map<std::string, std::string, std::less<>>;

/// The parameters of the query of `url`, or absent when it has no query.
///
///     const auto url = URL::parse("myapp://open?clip=7&title=My%20day&clip=8");
///     const auto parameters = queryParameters(*url);                // clip: 8, title: My day
///
/// The items count in order: one with a value sets its name's entry, so the last value wins, and one without
/// ("a", where "a=" has the empty value) removes it. "?" alone gives no entries. How items are read, and what
/// escapes may bring in, says `URL::queryItems`; a URL with a broken escape cannot be parsed in the
/// first place.
///
/// Thread-safe.
[[nodiscard]] TQ_API std::optional<QueryParameters> queryParameters(const URL& url);

}  // namespace tq
