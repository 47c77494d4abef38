#include "TQFoundation/Platform/Base/Thread.h"

#include <pthread.h>

#include <cstdlib>
#include <iostream>
#include <system_error>
#include <thread>
#include <utility>

namespace tq::internal {

// POSIX has no call for this.
void nameThisThread(const char* name) {
#if defined(__APPLE__)
  ::pthread_setname_np(name);
#elif defined(__linux__)
  ::pthread_setname_np(::pthread_self(), name);
#else
  static_cast<void>(name);
#endif
}

bool startThread(const char* name, std::function<void()> body) {
  try {
    std::thread([name, body = std::move(body)] {
      nameThisThread(name);
      body();
    }).detach();
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

void abortForWantOf(std::string_view missing, int systemError) {
  std::cerr << "TQFoundation: " << missing;
  if (systemError != 0) std::cerr << ": " << std::generic_category().message(systemError);
  std::cerr << std::endl;
  std::abort();
}

}  // namespace tq::internal
