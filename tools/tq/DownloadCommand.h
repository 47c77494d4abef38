#pragma once

#include <filesystem>
#include <string>

#include "tools/tq/MainLoop.h"

namespace tq::tool {

/// What `tq download` is asked for.
struct DownloadRequest {
  std::string url;
  std::filesystem::path file;  ///< Must not exist, and its folder must.
  bool resumes = true;         ///< Continues where an earlier download of the URL has ended.
  int retries = 4;             ///< Further tries in a row that bring nothing new.
  int timeout = 60;            ///< Seconds without a byte that end a try.
};

/// Downloads the file, showing how far it is, and answers what the program ends with.
[[nodiscard]] int download(const DownloadRequest& request, const Interrupts& interrupts);

}  // namespace tq::tool
