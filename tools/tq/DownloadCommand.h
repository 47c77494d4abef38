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
};

/// Downloads the file, showing how far it is, and answers what the program ends with.
[[nodiscard]] int download(const DownloadRequest& request, const Interrupts& interrupts);

}  // namespace tq::tool
