#pragma once

#include <memory>

#include "TQFoundation/Platform/Base/Date.h"
#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// Reports the present moment.
///
///     const Date now = Clock::shared()->now();
///
/// It is the wall clock: it may be set at any time, so the difference of two readings is not the time that
/// passed.
///
/// Thread-safe.
class TQ_API Clock {
 public:
  virtual ~Clock() = default;

  [[nodiscard]] virtual Date now() const = 0;

  /// The system's own. Made on first use, never destroyed.
  [[nodiscard]] static const std::shared_ptr<const Clock>& shared();
};

}  // namespace tq
