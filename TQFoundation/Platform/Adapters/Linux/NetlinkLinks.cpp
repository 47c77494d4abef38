#include "TQFoundation/Platform/Adapters/Linux/NetlinkLinks.h"

#include <fcntl.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "TQFoundation/Platform/Base/FileDescriptor.h"

namespace tq::internal {
namespace {

constexpr std::size_t kMostDevices = 64;

// Reads the start of the file, which is a few lines long. Nullopt when it cannot be opened now but might be
// later.
std::optional<std::string> readUevent(const std::string& name) {
  const std::string path = "/sys/class/net/" + name + "/uevent";
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.isOpen())
    return errno == EMFILE || errno == ENFILE || errno == ENOMEM ? std::nullopt
                                                                 : std::optional(std::string());
  std::array<char, 1024> text{};
  const auto length = ::read(file.number(), text.data(), text.size());
  return std::string(text.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
}

bool saysWWAN(std::string_view uevent) {
  constexpr std::string_view kLine = "DEVTYPE=wwan\n";
  return uevent.starts_with(kLine) || uevent.find("\nDEVTYPE=wwan\n") != std::string_view::npos;
}

}  // namespace

std::optional<NetlinkLink> NetlinkLinks::find(std::uint32_t index) {
  ifreq request{};
  request.ifr_ifindex = static_cast<int>(index);
  if (::ioctl(socket_, SIOCGIFNAME, &request) != 0) return std::nullopt;
  request.ifr_name[IFNAMSIZ - 1] = '\0';
  const std::string name = request.ifr_name;
  if (::ioctl(socket_, SIOCGIFFLAGS, &request) != 0) return std::nullopt;
  const unsigned flags = static_cast<unsigned short>(request.ifr_flags);
  constexpr unsigned kNeeded = IFF_UP | IFF_RUNNING;
  if ((flags & kNeeded) != kNeeded || (flags & IFF_LOOPBACK) != 0) return NetlinkLink{};
  const auto device = deviceOf(index, name).value_or(Device{});
  return NetlinkLink{.carries = true, .isCellular = device.isCellular, .isTransient = device.isTransient};
}

// The kind of a device does not change, and its index is not used again. PPP says nothing of the medium below
// it: DSL and tunnels are PPP as well.
std::optional<NetlinkLinks::Device> NetlinkLinks::deviceOf(std::uint32_t index, const std::string& name) {
  if (const auto found = devices_.find(index); found != devices_.end() && found->second.name == name)
    return found->second;
  if (name.find('/') != std::string::npos || name.starts_with('.')) return std::nullopt;
  ifreq request{};
  name.copy(request.ifr_name, IFNAMSIZ - 1);
  const auto uevent = readUevent(name);
  if (!uevent || ::ioctl(socket_, SIOCGIFHWADDR, &request) != 0) return std::nullopt;
  if (devices_.size() >= kMostDevices) devices_.clear();
  return devices_[index] = {.name = name,
                            .isCellular = saysWWAN(*uevent),
                            .isTransient = request.ifr_hwaddr.sa_family == ARPHRD_PPP};
}

}  // namespace tq::internal
