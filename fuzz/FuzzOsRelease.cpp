// os-release files: whatever they say, what comes out is a version or nothing, and asking for it again gives
// it.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "TQFoundation/Platform/Adapters/Linux/LinuxDeviceInfo.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::string_view kVersionCharacters =
      "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ._-";
  using tq::internal::versionInOsRelease;
  const std::string version = versionInOsRelease({reinterpret_cast<const char*>(data), size});
  if (version.size() > 64 || version.find_first_not_of(kVersionCharacters) != std::string::npos) std::abort();
  if (versionInOsRelease("VERSION_ID=\"" + version + "\"\n") != version) std::abort();
  return 0;
}
