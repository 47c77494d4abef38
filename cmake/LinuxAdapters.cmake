# The adapters of a Linux host. Another system brings a file like this one and names it in TQ_PLATFORM_ADAPTERS.
find_package(CURL REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(libmnl REQUIRED QUIET IMPORTED_TARGET libmnl)
set(TQ_ADAPTER_SOURCES
  Platform/Default/CurlEngine.cpp
  Platform/Default/CurlTransfer.cpp
  Platform/Default/CurlURLSession.cpp
  Platform/Default/SystemClock.cpp
  Platform/Linux/LinuxDeviceInfo.cpp
  Platform/Linux/Epoll.cpp
  Platform/Linux/NameResolver.cpp
  Platform/Linux/NetlinkLinks.cpp
  Platform/Linux/NetlinkMonitor.cpp
  Platform/Linux/NetlinkNamedReachability.cpp
  Platform/Linux/NetlinkReachability.cpp
  Platform/Linux/NetlinkReachabilityProvider.cpp
  Platform/Linux/NetlinkRouteMessage.cpp
  Platform/Linux/NetlinkRoutes.cpp
  Platform/Linux/NetlinkSocket.cpp
  Platform/Linux/NetlinkView.cpp
  Platform/Linux/StatvfsVolumeInfo.cpp)
set(TQ_ADAPTER_LIBRARIES CURL::libcurl PkgConfig::libmnl)
set(TQ_ADAPTER_PACKAGES CURL)               # what find_package needs of them
set(TQ_ADAPTER_MODULES libmnl)              # what only pkg-config knows of, as targets PkgConfig::...
set(TQ_ADAPTER_PKGCONFIG libcurl libmnl)    # and what pkg-config needs
