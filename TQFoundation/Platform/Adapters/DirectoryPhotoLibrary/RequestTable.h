#pragma once

#include <limits>
#include <map>
#include <memory>
#include <utility>

#include "TQFoundation/Platform/Base/Mutex.h"
#include "TQFoundation/Platform/Ports/PHImageManager.h"

namespace tq::internal {

/// The running requests by their ids, which are positive, begin again after the highest and skip those in
/// use.
///
/// Thread-safe. Requests are destroyed with no lock held.
template <class Request>
class RequestTable {
 public:
  /// A table whose first id is the one after `last`.
  explicit RequestTable(PHImageRequestID last = 0) : last_(last) {}

  [[nodiscard]] PHImageRequestID add(std::shared_ptr<Request> request) {
    const MutexLock lock(mutex_);
    do {
      last_ = last_ == std::numeric_limits<PHImageRequestID>::max() ? 1 : last_ + 1;
    } while (requests_.contains(last_));
    requests_.emplace(last_, std::move(request));
    return last_;
  }

  /// Returns the request, or null if it has ended or never was.
  [[nodiscard]] std::shared_ptr<Request> find(PHImageRequestID id) const {
    const MutexLock lock(mutex_);
    const auto found = requests_.find(id);
    return found == requests_.end() ? nullptr : found->second;
  }

  void remove(PHImageRequestID id) {
    typename std::map<PHImageRequestID, std::shared_ptr<Request>>::node_type removed;
    const MutexLock lock(mutex_);
    removed = requests_.extract(id);
  }

 private:
  mutable Mutex mutex_;
  std::map<PHImageRequestID, std::shared_ptr<Request>> requests_ TQ_GUARDED_BY(mutex_);
  PHImageRequestID last_ TQ_GUARDED_BY(mutex_);
};

}  // namespace tq::internal
