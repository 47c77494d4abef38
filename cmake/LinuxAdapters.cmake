# The adapters of a Linux host. Another system brings a file like this one and names it in
# TQ_PLATFORM_ADAPTERS; where it has nothing better, it takes Posix/PosixFiles.cpp instead of Linux/LinuxFiles.cpp.
find_package(CURL REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(libmnl REQUIRED QUIET IMPORTED_TARGET libmnl)
set(TQ_ADAPTER_SOURCES
  Platform/Adapters/Curl/CurlEngine.cpp
  Platform/Adapters/Curl/CurlTransfer.cpp
  Platform/Adapters/Curl/CurlURLSession.cpp
  Platform/Adapters/Curl/PartialResponse.cpp
  Platform/Adapters/Curl/TransferFile.cpp
  Platform/Adapters/Linux/LinuxDeviceInfo.cpp
  Platform/Adapters/Linux/LinuxFiles.cpp
  Platform/Adapters/Linux/NameResolver.cpp
  Platform/Adapters/Linux/NetlinkLinks.cpp
  Platform/Adapters/Linux/NetlinkMonitor.cpp
  Platform/Adapters/Linux/NetlinkNamedReachability.cpp
  Platform/Adapters/Linux/NetlinkReachability.cpp
  Platform/Adapters/Linux/NetlinkReachabilityProvider.cpp
  Platform/Adapters/Linux/NetlinkRouteMessage.cpp
  Platform/Adapters/Linux/NetlinkRoutes.cpp
  Platform/Adapters/Linux/NetlinkSocket.cpp
  Platform/Adapters/Linux/NetlinkView.cpp
  Platform/Adapters/Linux/ResolverFiles.cpp
  Platform/Adapters/Posix/EnvironmentSettings.cpp
  Platform/Adapters/Posix/StatvfsVolumeInfo.cpp
  Platform/Adapters/Posix/SystemClock.cpp)
set(TQ_ADAPTER_LIBRARIES CURL::libcurl PkgConfig::libmnl)
set(TQ_ADAPTER_PACKAGES CURL)               # what find_package needs of them
set(TQ_ADAPTER_MODULES libmnl)              # what only pkg-config knows of, as targets PkgConfig::...
set(TQ_ADAPTER_PKGCONFIG libcurl libmnl)    # and what pkg-config needs
