#pragma once

#include "TQFoundation/Platform/Base/FileDescriptor.h"

namespace tq::internal {

/// Watches the files that decide how names are resolved: /etc/resolv.conf and /etc/hosts.
///
/// Not thread-safe: one thread at a time.
class ResolverFiles {
 public:
  ResolverFiles();

  /// Readable when one of them may have changed; -1 when the system has no watch left.
  [[nodiscard]] int descriptor() const { return events_.number(); }

  /// Makes the descriptor wait for the next change.
  void takeChanges();

 private:
  void watch() const;

  const FileDescriptor events_;
};

}  // namespace tq::internal
