#pragma once

#include <memory>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"

namespace tq::internal {

/// Returns a new serial queue for what the library delivers to its callers.
///
/// Its threads are apart from those of the other queues: tasks of the host may block on all of them, waiting
/// for just such a delivery, and it still comes. Thread-safe.
[[nodiscard]] TQ_API std::shared_ptr<DispatchQueue> makeLibraryQueue();

}  // namespace tq::internal
