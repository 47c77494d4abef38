#pragma once

#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "TQFoundation/Platform/Ports/PHImageManager.h"

namespace tq {

/// The running requests by their ids, which are positive, start anew after the highest and pass over those in
/// use.
///
/// Thread-safe. Requests are destroyed with no lock held.
template <class Request>
class RequestTable {
 public:
  /// A table whose first id is the one after `last`.
  explicit RequestTable(PHImageRequestID last = 0) : last_(last) {}

  [[nodiscard]] PHImageRequestID add(std::shared_ptr<Request> request) {
    const std::scoped_lock lock(mutex_);
    do {
      last_ = last_ == std::numeric_limits<PHImageRequestID>::max() ? 1 : last_ + 1;
    } while (requests_.contains(last_));
    requests_.emplace(last_, std::move(request));
    return last_;
  }

  /// Null when it has ended or never was.
  [[nodiscard]] std::shared_ptr<Request> find(PHImageRequestID id) const {
    const std::scoped_lock lock(mutex_);
    const auto found = requests_.find(id);
    return found == requests_.end() ? nullptr : found->second;
  }

  void remove(PHImageRequestID id) {
    typename std::map<PHImageRequestID, std::shared_ptr<Request>>::node_type removed;
    const std::scoped_lock lock(mutex_);
    removed = requests_.extract(id);
  }

 private:
  mutable std::mutex mutex_;
  std::map<PHImageRequestID, std::shared_ptr<Request>> requests_;
  PHImageRequestID last_;
};

}  // namespace tq
