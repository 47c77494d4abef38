#pragma once

#include <type_traits>

#include "TQFoundation/Platform/Localization/EnvironmentLook.h"
#include "TQFoundation/Platform/Localization/Locale.h"

namespace tq {

/// What `make` makes of the user's locale, kept for as long as the environment says the same. It belongs to
/// the calling thread, until its next call.
///
///     const NumberMarks& marks = userLocaleValue<NumberMarks, &numberMarks>();
///
/// Thread-safe except against concurrent setenv().
template <class T, T (*make)(const Locale&)>
[[nodiscard]] const T& userLocaleValue() {
  // So a thread may come here until its very end.
  static_assert(std::is_trivially_destructible_v<T>);
  static thread_local constinit EnvironmentLook look;
  static thread_local constinit T value{};
  if (!look.isUnchanged()) {
    value = make(Locale::current());
    look.take();
  }
  return value;
}

}  // namespace tq
