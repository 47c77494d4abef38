#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "TQFoundation/Platform/Adapters/Linux/NetlinkView.h"
#include "TQFoundation/Platform/Base/Mutex.h"

namespace tq::internal {

/// The address that `text` is the notation of; nullopt when it is a name.
[[nodiscard]] std::optional<NetworkAddress> addressOfNumericName(const std::string& text);

/// Returns `name` as resolvers take it, with the letters of other scripts encoded. Nullopt when it cannot be
/// a name.
[[nodiscard]] std::optional<std::string> hostNameOf(std::string_view name);

/// Resolves names, by the hosts file and then by the system's resolver, on a bounded number of threads of its
/// own. The resolver blocks its thread for a few seconds where a server is silent, and cannot be interrupted.
///
/// Thread-safe. The handlers run on those threads. A thread without work ends.
class NameResolver {
 public:
  /// Receives the addresses of a name; none when it cannot be resolved now.
  using Handler = std::function<void(NetworkAddresses)>;

  /// Never destroyed.
  static NameResolver& shared();

  /// Resolves `name`. A request whose owner has gone before its turn is dropped.
  void resolve(std::string name, std::weak_ptr<const void> owner, Handler handler);

 private:
  struct Request {
    std::string name;
    std::weak_ptr<const void> owner;
    Handler handler;
    bool isNotInHostsFile = false;
  };
  using Requests = std::deque<Request>;

  void work();
  std::optional<Request> next();
  std::optional<Request> take() TQ_REQUIRES(mutex_);
  bool mayAskServers(Request& request);
  void endAsking();

  // Invariant: at most `kMostAsking` threads wait for servers, and there may be one thread more, so that
  // silent servers never hold up the names of the hosts file. A request waits in `unread_` for a thread that
  // reads the hosts file, and then, while as many threads as may ask servers, in `unasked_`.
  Mutex mutex_;
  ConditionVariable added_;
  Requests unread_ TQ_GUARDED_BY(mutex_);
  Requests unasked_ TQ_GUARDED_BY(mutex_);
  std::size_t threads_ TQ_GUARDED_BY(mutex_) = 0;
  std::size_t idle_ TQ_GUARDED_BY(mutex_) = 0;
  std::size_t asking_ TQ_GUARDED_BY(mutex_) = 0;
};

}  // namespace tq::internal
