// Fetching files and loading batches of videos, beside libcurl alone and the system calls alone.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "benchmarks/Bench.h"
#include "benchmarks/MediaClients.h"
#include "tests/support/LoopbackServer.h"

namespace tq::bench {
namespace {

namespace fs = std::filesystem;
using Costs = std::map<std::string, std::vector<Cost>>;

constexpr std::string_view kArea = "media";
constexpr std::uint64_t kMiB = 1024UL * 1024;
constexpr std::uint64_t kBigFile = 256 * kMiB;
constexpr std::uint64_t kSmallerFile = 16 * kMiB;
constexpr std::uint64_t kSmallFile = 16UL * 1024;
constexpr int kSmallFiles = 1000;
constexpr int kBatch = 100'000;
constexpr int kSmallBatch = 1000;
constexpr int kHandOffs = 20'000;
constexpr int kRounds = 15;
constexpr int kBatchRounds = 5;

// The contenders' names in the table, and what `clientMain` calls them.
using Clients = std::vector<std::pair<std::string, std::string>>;
const Clients kClients = {
    {std::string(kOurs), "ours"}, {"libcurl", "libcurl"}, {std::string(kLimit), "sockets"}};

// A fresh folder, and the temporary folder of the clients.
class Folder {
 public:
  Folder() {
    static const fs::path base = fs::temp_directory_path();
    std::string name = base / "XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) fail("cannot create a folder in " + base.string());
    path_ = name;
    ::setenv("TMPDIR", name.c_str(), 1);
  }
  ~Folder() { fs::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  [[nodiscard]] const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

Cost fetch(const std::string& client, const std::string& url, int count, std::uint64_t bytes) {
  const Folder folder;
  const Cost cost = runClient({client, std::to_string(count), url, folder.path()});
  for (int i = 0; i < count; ++i) {
    if (fs::file_size(folder.path() / std::to_string(i)) != bytes) fail(client + " has cut a file");
  }
  return cost;
}

Samples part(const Costs& costs, double Cost::*which, double scale) {
  Samples samples;
  for (const auto& [name, rounds] : costs) {
    for (const Cost& cost : rounds) samples[name].push_back(cost.*which * scale);
  }
  return samples;
}

Costs fetchInTurn(const Clients& clients, const std::string& url, int count, std::uint64_t bytes) {
  Costs costs;
  for (int round = 0; round < kRounds; ++round) {
    for (const auto& [name, client] : clients) costs[name].push_back(fetch(client, url, count, bytes));
  }
  return costs;
}

void bigFile(const tests::LoopbackServer& server) {
  const Costs costs = fetchInTurn(kClients, server.url("/big"), 1, kBigFile);
  print(kArea, {.work = "256 MiB over loopback, wall time",
                .unit = "ms",
                .samples = part(costs, &Cost::wall, 1e3),
                .target = 1.05});
  print(kArea, {.work = "256 MiB over loopback, processor time",
                .unit = "ms",
                .samples = part(costs, &Cost::processor, 1e3),
                .target = 1.15});
  Samples memory = part(costs, &Cost::memory, 1);
  memory[std::string(kLimit)] = {fetch("ours", server.url("/smaller"), 1, kSmallerFile).memory};
  print(kArea, {.work = "256 MiB over loopback, most memory (limit: ours with 16 MiB)",
                .unit = "MiB",
                .samples = memory,
                .target = 1.1,
                .against = Figure::Against::limit});
}

void smallFiles(const tests::LoopbackServer& server) {
  const std::string onThread = "libcurl thread";
  Clients clients = kClients;
  clients.emplace_back(onThread, onThread);
  const Costs costs = fetchInTurn(clients, server.url("/small"), kSmallFiles, kSmallFile);
  Samples byItself = part(costs, &Cost::wall, 1e6 / kSmallFiles);
  Samples byThread = byItself;
  byItself.erase(onThread);
  byThread.erase("libcurl");
  print(kArea, {.work = "1000 files of 16 KiB one after the other, per file",
                .unit = "us",
                .samples = byItself,
                .target = 1.2});
  print(kArea, {.work = "1000 files of 16 KiB, libcurl on a thread handed each",
                .unit = "us",
                .samples = byThread,
                .target = 1.2});
}

double perPiece(const char* work, int count) {
  return runClient({work, std::to_string(count)}).wall / count * 1e6;
}

void batch() {
  Samples samples =
      interleaved(kBatchRounds, {{std::string(kOurs), [] { return perPiece("batch", kBatch); }},
                                 {"1,000", [] { return perPiece("batch", kSmallBatch); }},
                                 {"hand-offs", [] { return perPiece("hand-offs", kHandOffs); }}});
  const auto handOffs = samples.extract("hand-offs").mapped();
  Samples bySize = samples;
  bySize[std::string(kLimit)] = bySize.extract("1,000").mapped();
  print(kArea, {.work = "a batch of 100,000 videos, per video (limit: of 1,000)",
                .unit = "us",
                .samples = bySize,
                .target = 1.3,
                .against = Figure::Against::limit});
  print(kArea,
        {.work = "a batch of 100,000 videos, per video (limit: one main-queue sync)",
         .unit = "us",
         .samples = {{std::string(kOurs), samples[std::string(kOurs)]}, {std::string(kLimit), handOffs}},
         .target = 4,
         .against = Figure::Against::limit});
}

void measureMedia() {
  tests::LoopbackServer server;
  server.serve("/warm-up", {.generatedBytes = kSmallFile});
  server.serve("/big", {.generatedBytes = kBigFile});
  server.serve("/smaller", {.generatedBytes = kSmallerFile});
  server.serve("/small", {.generatedBytes = kSmallFile});
  bigFile(server);
  smallFiles(server);
  batch();
}

}  // namespace
}  // namespace tq::bench

int main(int count, char** arguments) {
  if (count > 1) return tq::bench::clientMain({arguments + 1, arguments + count});
  tq::bench::measureMedia();
}
