#include "benchmarks/Bench.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace tq::bench {
namespace {

using Named = std::pair<std::string, double>;

std::optional<Named> medianOf(const Samples& samples, std::string_view name) {
  const auto found = samples.find(name);
  if (found == samples.end()) return std::nullopt;
  return Named{found->first, median(found->second)};
}

std::optional<Named> bestPeer(const Samples& samples) {
  std::optional<Named> best;
  for (const auto& [name, values] : samples) {
    if (name == kOurs || name == kLimit) continue;
    if (const double value = median(values); !best || value < best->second) best = {name, value};
  }
  return best;
}

std::string valueText(double value, std::string_view unit) {
  char text[64];
  const int decimals = value < 10 ? 2 : value < 100 ? 1 : 0;
  std::snprintf(text, sizeof text, "%.*f %.*s", decimals, value, static_cast<int>(unit.size()), unit.data());
  return text;
}

std::string ratioText(double ratio) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", ratio);
  return text;
}

class Collector final : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      const std::string& name = run.run_name.function_name;
      const auto slash = name.find('/');
      const auto items = run.counters.find("items");
      const double perIteration = items == run.counters.end() ? 1 : items->second.value;
      figures_[name.substr(0, slash)][name.substr(slash + 1)].push_back(run.GetAdjustedRealTime() /
                                                                        perIteration);
    }
  }

  std::map<std::string, Samples, std::less<>> figures_;
};

}  // namespace

double median(std::vector<double> samples) {
  const auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
  std::nth_element(samples.begin(), middle, samples.end());
  return *middle;
}

Samples interleaved(int rounds, const std::map<std::string, std::function<double()>>& contenders) {
  Samples samples;
  for (int round = 0; round < rounds; ++round) {
    for (const auto& [name, measure] : contenders) samples[name].push_back(measure());
  }
  return samples;
}

std::map<std::string, Samples, std::less<>> runGoogleBenchmarks(int rounds) {
  std::string repetitions = "--benchmark_repetitions=" + std::to_string(rounds);
  std::string program = "bench";
  std::string interleaving = "--benchmark_enable_random_interleaving=true";
  char* arguments[] = {program.data(), repetitions.data(), interleaving.data(), nullptr};
  int count = 3;
  benchmark::Initialize(&count, arguments);
  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  return std::move(collector.figures_);
}

void print(std::string_view area, const Figure& figure) {
  const auto ours = medianOf(figure.samples, kOurs);
  const auto limit = medianOf(figure.samples, kLimit);
  const auto peer = bestPeer(figure.samples);
  const bool byPeer = figure.against == Figure::Against::peer;
  const auto& mark = byPeer ? peer : limit;
  const double ratio = mark ? ours->second / mark->second : 0;
  std::string row{area};
  for (const std::string& field :
       {std::string(figure.work), valueText(ours->second, figure.unit),
        peer ? valueText(peer->second, figure.unit) + " " + peer->first : "-",
        limit ? valueText(limit->second, figure.unit) : "-", mark ? ratioText(ratio) : "-",
        ratioText(figure.target) + (byPeer ? " of peer" : " of limit"),
        std::string(!mark                    ? "no peer"
                    : ratio <= figure.target ? "ok"
                                             : "short")})
    row += '\t' + field;
  std::puts(row.c_str());
  std::fflush(stdout);
}

void printLeftOut(std::string_view area, std::string_view peer) {
  std::printf("# %s: %s is not installed and left out\n", std::string(area).c_str(),
              std::string(peer).c_str());
}

}  // namespace tq::bench
