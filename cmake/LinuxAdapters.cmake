# The adapters of a Linux host. Another system brings a file like this one and names it in TQ_PLATFORM_ADAPTERS.
find_package(CURL REQUIRED)
set(TQ_ADAPTER_SOURCES
  Platform/Default/CurlEngine.cpp
  Platform/Default/CurlTransfer.cpp
  Platform/Default/CurlURLSession.cpp
  Platform/Linux/StatvfsVolumeInfo.cpp)
set(TQ_ADAPTER_LIBRARIES CURL::libcurl)
set(TQ_ADAPTER_PACKAGES CURL)         # what find_package needs of them
set(TQ_ADAPTER_PKGCONFIG libcurl)     # and what pkg-config does
