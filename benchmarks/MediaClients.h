#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace tq::bench {

/// What a client's work took: in seconds of wall time, in seconds of processor time of the whole process, and
/// the most memory the process ever had resident, in MiB.
struct Cost {
  double wall = 0;
  double processor = 0;
  double memory = 0;
};

/// Runs this program again as a client, so that what it costs is its own alone, and answers what it printed.
/// Ends the program when the client fails.
[[nodiscard]] Cost runClient(const std::vector<std::string>& arguments);

/// The client's side: does what the arguments of `runClient` say, and prints what it took.
int clientMain(const std::vector<std::string>& arguments);

// Each fetches `url` into the files `folder`/0 to `folder`/`count - 1`, one after the other.
using Fetch = void(const std::string& url, const std::filesystem::path& folder, int count);
Fetch fetchWithLibrary;
Fetch fetchWithBareCurl;
Fetch fetchWithCurlThread;  // which is handed each file and hands it back
Fetch fetchWithBareSocket;

/// Ends the program with a sentence that says `what` went wrong.
[[noreturn]] void fail(const std::string& what);

}  // namespace tq::bench
