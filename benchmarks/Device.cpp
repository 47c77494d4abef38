// What a device tells of itself, beside the bare system calls; byte counts as text, beside ICU's numbers.

#include <benchmark/benchmark.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <unicode/numberformatter.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "TQFoundation/Extensions/TQDeviceExtensions.h"
#include "TQFoundation/Platform/Formatting/NSByteCountFormatter.h"
#include "TQFoundation/Platform/Localization/Locale.h"
#include "benchmarks/Bench.h"

#if TQ_PEER_ABSEIL
#include <absl/container/flat_hash_map.h>
#endif

namespace tq::bench {
namespace {

constexpr std::string_view kArea = "device";
constexpr int kRounds = 15;

template <class Work>
void enter(const std::string& name, Work work, std::size_t items = 1) {
  benchmark::RegisterBenchmark(name.c_str(),
                               [work, items](benchmark::State& state) {
                                 for ([[maybe_unused]] const auto iteration : state)
                                   benchmark::DoNotOptimize(work());
                                 state.counters["items"] = static_cast<double>(items);
                               })
      ->UseRealTime()
      ->MinTime(0.05);
}

void enterType() {
  enter("type/ours", [] { return UIDevice::type(); });
  enter("type/limit", [] {
    utsname names{};
    ::uname(&names);
    return names.machine[0];
  });
}

// Many short rounds: the two differ by less than the machine's moods do.
template <class Work>
double nanosecondsOf(Work work) {
  constexpr int kCalls = 500;
  const auto begin = std::chrono::steady_clock::now();
  for (int call = 0; call < kCalls; ++call) benchmark::DoNotOptimize(work());
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - begin).count() / kCalls;
}

Samples freeSpace() {
  constexpr int kShortRounds = 501;
  const UIDevice& device = UIDevice::currentDevice();
  const std::string home = std::getenv("HOME");  // NOLINT(concurrency-mt-unsafe): one thread
  const auto bare = [&home] {
    struct statvfs volume {};
    ::statvfs(home.c_str(), &volume);
    return std::uint64_t{volume.f_bavail} * volume.f_frsize;
  };
  return interleaved(
      kShortRounds,
      {{std::string(kOurs), [&] { return nanosecondsOf([&] { return device.freeDiskSpaceInBytes(); }); }},
       {std::string(kLimit), [&] { return nanosecondsOf(bare); }}});
}

// A count of each unit.
constexpr std::array<std::int64_t, 6> kCounts = {
    999, 48'512, 1'536'000, 75'912'196'096, 2'000'398'934'016, -9'223'372'036'854'775'807};

void enterText() {
  enter(
      "text/ours",
      [] {
        std::size_t bytes = 0;
        for (const auto count : kCounts)
          bytes +=
              NSByteCountFormatter::stringFromByteCount(count, NSByteCountFormatterCountStyleDecimal).size();
        return bytes;
      },
      kCounts.size());
  static const auto icus = icu::number::NumberFormatter::withLocale(
      icu::Locale(UserSettingsSource::shared()->current()->numbers.identifier().c_str()));
  enter(
      "text/ICU",
      [] {
        std::size_t bytes = 0;
        for (const auto count : kCounts) {
          UErrorCode status = U_ZERO_ERROR;
          std::string text;
          bytes += icus.formatInt(count, status).toTempString(status).toUTF8String(text).size();
        }
        return bytes;
      },
      kCounts.size());
}

constexpr std::array<std::string_view, 6> kIdentifiers = {"iPhone11,6", "x86_64",     "AppleTV6,2",
                                                          "iPad2,5",    "iPhone99,1", "aarch64"};

// All identifiers there are, found by trying what they may look like.
std::vector<std::pair<std::string, Model>> knownHardware() {
  std::vector<std::pair<std::string, Model>> known;
  const auto add = [&](const std::string& identifier) {
    if (const Model model = modelOfHardware(identifier); model != Model::unrecognized)
      known.emplace_back(identifier, model);
  };
  add("i386");
  add("x86_64");
  for (const char* const family : {"iPod", "iPad", "iPhone", "AppleTV"}) {
    for (int major = 1; major < 20; ++major) {
      for (int minor = 1; minor < 20; ++minor)
        add(family + std::to_string(major) + ',' + std::to_string(minor));
    }
  }
  return known;
}

template <class Find>
void enterLookUp(const char* contender, Find find) {
  enter(
      std::string("lookup/") + contender,
      [find] {
        std::size_t sum = 0;
        for (const auto identifier : kIdentifiers) sum += static_cast<std::size_t>(find(identifier));
        return sum;
      },
      kIdentifiers.size());
}

template <class Map>
void enterMap(const char* contender) {
  static const auto& owned = *new auto(knownHardware());
  static const auto& map = *new Map(owned.begin(), owned.end());
  enterLookUp(contender, [](std::string_view identifier) {
    const auto found = map.find(identifier);
    return found == map.end() ? Model::unrecognized : found->second;
  });
}

void enterLookUp() {
  enterLookUp("ours", &modelOfHardware);
  enterMap<std::unordered_map<std::string_view, Model>>("std hash map");
#if TQ_PEER_ABSEIL
  enterMap<absl::flat_hash_map<std::string_view, Model>>("abseil flat map");
#else
  printLeftOut(kArea, "abseil");
#endif
}

void printFigures() {
  auto figures = runGoogleBenchmarks(kRounds);
  figures["space"] = freeSpace();
  const auto row = [&](const char* key, const char* work, double target,
                       Figure::Against against = Figure::Against::limit) {
    print(kArea, {.work = work, .unit = "ns", .samples = figures[key], .target = target, .against = against});
  };
  row("type", "the model of the device (limit: uname)", 2.0);
  row("space", "free space of the home folder (limit: statvfs)", 1.05);
  row("text", "a byte count as text, each (ICU: its number alone)", 1.2, Figure::Against::peer);
  row("lookup", "the model of a hardware identifier, each", 1.0, Figure::Against::peer);
}

}  // namespace
}  // namespace tq::bench

int main() {
  tq::bench::enterType();
  tq::bench::enterText();
  tq::bench::enterLookUp();
  tq::bench::printFigures();
}
