#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "TQFoundation/Platform/Adapters/Linux/NetlinkView.h"

namespace tq {

/// What a name stands for.
struct ResolvedName {
  NetworkAddresses addresses;  ///< None when there is no such name or nobody answered.
  bool mayComeLater = false;   ///< Nobody answered.
};

/// The address that `text` is the notation of, or absent when it is a name.
[[nodiscard]] std::optional<NetworkAddress> addressOfNumericName(const std::string& text);

/// `name` as resolvers take it, with the letters of other scripts encoded. Absent when it cannot be a name.
[[nodiscard]] std::optional<std::string> hostNameOf(std::string_view name);

/// Resolves names on threads of its own, a few: a resolver whose servers are silent blocks its thread for
/// many seconds, and nothing can interrupt it. Further names wait in line. A thread with nothing to do ends.
///
/// Thread-safe. The handlers run on those threads.
class NameResolver {
 public:
  using Handler = std::function<void(ResolvedName)>;

  /// Never destroyed.
  static NameResolver& shared();

  void resolve(std::string name, Handler handler);

 private:
  struct Question {
    std::string name;
    Handler handler;
  };

  NameResolver() = default;
  void work();
  std::optional<Question> next();

  std::mutex mutex_;
  std::condition_variable added_;
  std::deque<Question> waiting_;
  std::size_t threads_ = 0;
  std::size_t idle_ = 0;
};

}  // namespace tq
