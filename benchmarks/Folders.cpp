// Finding a working folder that exists, and removing one with what is in it, beside the standard library.

#include <benchmark/benchmark.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "TQFoundation/Extensions/TQFileManagerExtensions.h"
#include "TQFoundation/Platform/Log/Log.h"
#include "benchmarks/Bench.h"

namespace tq::bench {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kArea = "folders";
constexpr int kRounds = 9;
constexpr int kFolders = 40;
constexpr int kFilesInEach = 25;

const fs::path& media() {
  static const fs::path folder = cloudMediaDirectoryPath();
  return folder;
}

template <class Find>
void enterGetter(const char* contender, const Find& find) {
  benchmark::RegisterBenchmark((std::string("getter/") + contender).c_str(), [find](benchmark::State& state) {
    for ([[maybe_unused]] const auto iteration : state) benchmark::DoNotOptimize(find());
  });
}

void enterGetters() {
  enterGetter("ours", [] { return cloudMediaDirectoryPath(); });
  enterGetter("exists, is_directory", [] { return fs::exists(media()) && fs::is_directory(media()); });
  enterGetter("limit", [] {
    struct stat info {};
    return ::stat(media().c_str(), &info);
  });
}

double millisecondsToRemove(const std::function<void(const fs::path&)>& remove) {
  const fs::path tree = media() / "tree";
  for (int folder = 0; folder < kFolders; ++folder) {
    const fs::path place = tree / std::to_string(folder / 8) / std::to_string(folder);
    fs::create_directories(place);
    for (int file = 0; file < kFilesInEach; ++file) std::ofstream(place / std::to_string(file)) << file;
  }
  const auto start = std::chrono::steady_clock::now();
  remove(tree);
  const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
  if (fs::exists(tree)) std::fprintf(stderr, "%s is still there\n", tree.c_str());
  return took.count();
}

void printFigures() {
  auto figures = runGoogleBenchmarks(kRounds);
  print(kArea,
        {.work = "the getter of a folder that exists, beside exists-then-is-directory (limit: one stat)",
         .unit = "ns",
         .samples = figures["getter"],
         .target = 1.3});
  const auto removal = [](const auto& remove) { return [remove] { return millisecondsToRemove(remove); }; };
  print(kArea, {.work = "a folder with 1000 files in 40 folders removed",
                .unit = "ms",
                .samples = interleaved(kRounds, {{std::string(kOurs), removal([](const fs::path& tree) {
                                                    static_cast<void>(NSFileManager::removeItem(tree));
                                                  })},
                                                 {"remove_all", removal([](const fs::path& tree) {
                                                    static_cast<void>(fs::remove_all(tree));
                                                  })}}),
                .target = 1.2});
}

}  // namespace
}  // namespace tq::bench

int main() {
  tq::Log::setSink([](const tq::LogLine&) {});  // the table is all that is printed
  tq::bench::enterGetters();
  tq::bench::printFigures();
  tq::removeCloudMediaDirectory();
}
