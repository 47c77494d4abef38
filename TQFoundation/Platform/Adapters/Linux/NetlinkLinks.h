#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>

namespace tq::internal {

/// The state and kind of an interface.
struct NetlinkLink {
  bool carries = false;  ///< It is up, has its carrier, and leads out of this machine.
  bool isCellular = false;
  bool isTransient = false;  ///< It comes and goes, as PPP does.
};

/// Reports what the interfaces are like. The state is queried anew each time, without a lock of the kernel's
/// that a busy configuration could hold.
///
/// Not thread-safe: one thread at a time.
class NetlinkLinks {
 public:
  /// Queries the network namespace of `socket`, which it does not own.
  explicit NetlinkLinks(int socket) : socket_(socket) {}

  /// Nullopt when there is no interface of that index.
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

}  // namespace tq::internal
