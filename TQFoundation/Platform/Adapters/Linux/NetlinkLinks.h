#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>

namespace tq {

/// What a way over an interface is like.
struct NetlinkLink {
  bool carries = false;  ///< It is up, has its carrier, and leads out of this machine.
  bool isCellular = false;
  bool isTransient = false;  ///< It comes and goes, as PPP does.
};

/// Answers what the interfaces are like. The state is asked for anew each time; it takes no lock in the
/// kernel that a busy configuration could hold.
///
/// Not thread-safe: one thread at a time.
class NetlinkLinks {
 public:
  /// Asks through `socket`, which it does not own, and so about the socket's own network namespace.
  explicit NetlinkLinks(int socket) : socket_(socket) {}

  /// Absent when there is no interface of that index.
  [[nodiscard]] std::optional<NetlinkLink> find(std::uint32_t index);

 private:
  struct Device {
    std::string name;
    bool isCellular = false;
    bool isTransient = false;
  };

  std::optional<Device> deviceOf(std::uint32_t index, const std::string& name);

  const int socket_;
  std::unordered_map<std::uint32_t, Device> devices_;
};

}  // namespace tq
