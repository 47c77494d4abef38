// Reading query parameters and removing duplicates, beside what Boost and abseil offer for them.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <boost/unordered/unordered_flat_set.hpp>
#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>
#include <cstdint>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TQFoundation/Extensions/TQArrayExtensions.h"
#include "TQFoundation/Extensions/TQURLExtensions.h"
#include "benchmarks/Bench.h"

#if TQ_PEER_ABSEIL
#include <absl/container/flat_hash_set.h>
#endif

namespace tq::bench {
namespace {

constexpr std::string_view kArea = "utilities";
constexpr int kRounds = 9;
constexpr const char* kURL =
    "https://videos.example.com/shared/clip.mov?id=8f4c2e17&title=Summer%20by%20the%20sea&quality=high";

// What every contender answers: names and values, decoded, the last of a name.
using Parameters = std::map<std::string, std::string, std::less<>>;

Parameters parametersByBoost(const boost::urls::url_view& url) {
  Parameters parameters;
  for (const auto& item : url.params(boost::urls::encoding_opts{})) {
    std::string name(item.key.begin(), item.key.end());
    if (item.has_value) {
      parameters.insert_or_assign(std::move(name), std::string(item.value.begin(), item.value.end()));
    } else {
      parameters.erase(name);
    }
  }
  return parameters;
}

// The plainest code that is right for this text: no list of items, a scan for each separator.
std::string decodedByHand(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto digit = [](char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; };
    if (text[i] != '%') {
      result += text[i];
    } else {
      result += static_cast<char>(digit(text[i + 1]) * 16 + digit(text[i + 2]));
      i += 2;
    }
  }
  return result;
}

Parameters parametersByHand(std::string_view url) {
  Parameters parameters;
  url.remove_prefix(url.find('?') + 1);
  while (!url.empty()) {
    const std::string_view item = url.substr(0, url.find('&'));
    const std::size_t equals = item.find('=');
    parameters.insert_or_assign(decodedByHand(item.substr(0, equals)),
                                decodedByHand(item.substr(equals + 1)));
    url.remove_prefix(std::min(item.size() + 1, url.size()));
  }
  return parameters;
}

void enterParameters(const char* contender, const std::function<Parameters()>& read) {
  const std::string name = std::string("parameters/") + contender;
  benchmark::RegisterBenchmark(name.c_str(),
                               [read](benchmark::State& state) {
                                 for ([[maybe_unused]] const auto iteration : state)
                                   benchmark::DoNotOptimize(read());
                                 if (read().at("title") != "Summer by the sea")
                                   state.SkipWithError("not read right");
                               })
      ->UseRealTime()
      ->MinTime(0.05);
}

void enterParameters() {
  static const auto ours = *URL::parse(kURL);
  static const boost::urls::url_view boosts = *boost::urls::parse_uri_reference(kURL);
  enterParameters("ours", [] { return *queryParameters(ours); });
  enterParameters("Boost.URL", [] { return parametersByBoost(boosts); });
  enterParameters("limit", [] { return parametersByHand(kURL); });
}

constexpr std::size_t kItems = 1'000'000;

// Half of the items come twice or more, in no order.
std::vector<std::uint32_t> draws() {
  std::mt19937 random(20);
  std::vector<std::uint32_t> result(kItems);
  for (auto& draw : result) draw = static_cast<std::uint32_t>(random() % kItems);
  return result;
}

const std::vector<std::int64_t>& integers() {
  static const auto items = [] {
    std::vector<std::int64_t> result;
    for (const auto draw : draws()) result.push_back(draw);
    return result;
  }();
  return items;
}

const std::vector<std::string>& strings() {
  static const auto items = [] {
    std::vector<std::string> result;
    for (const auto draw : draws()) result.push_back("/DCIM/clips/clip-" + std::to_string(draw) + ".mov");
    return result;
  }();
  return items;
}

template <class Set, class T>
std::vector<T> distinctBySet(const std::vector<T>& items) {
  Set seen;
  seen.reserve(items.size());
  std::vector<T> kept;
  for (const T& item : items) {
    if (seen.insert(item).second) kept.push_back(item);
  }
  return kept;
}

template <class T, class Distinct>
void enterDistinct(const char* contender, const char* figure, const std::vector<T>& items,
                   const Distinct& distinct) {
  static const std::size_t expected = duplicatesRemoved(items).size();
  const std::string name = std::string(figure) + '/' + contender;
  benchmark::RegisterBenchmark(name.c_str(),
                               [&items, distinct](benchmark::State& state) {
                                 std::size_t count = 0;
                                 for ([[maybe_unused]] const auto iteration : state)
                                   count = distinct(items).size();
                                 state.counters["items"] = static_cast<double>(items.size());
                                 if (count != expected) state.SkipWithError("not made distinct");
                               })
      ->UseRealTime()
      ->Iterations(1);
}

template <template <class...> class FlatSet>
void enterSet(const char* contender) {
  enterDistinct(contender, "integers", integers(), distinctBySet<FlatSet<std::int64_t>, std::int64_t>);
  enterDistinct(contender, "strings", strings(), distinctBySet<FlatSet<std::string_view>, std::string>);
}

void enterDistinct() {
  const auto ours = [](const auto& items) { return duplicatesRemoved(items); };
  enterDistinct("ours", "integers", integers(), ours);
  enterDistinct("ours", "strings", strings(), ours);
  enterSet<boost::unordered_flat_set>("Boost flat set");
#if TQ_PEER_ABSEIL
  enterSet<absl::flat_hash_set>("abseil flat set");
#else
  printLeftOut(kArea, "abseil");
#endif
}

void printFigures() {
  auto figures = runGoogleBenchmarks(kRounds);
  const auto row = [&](const char* key, const char* work, double target) {
    print(kArea, {.work = work, .unit = "ns", .samples = figures[key], .target = target});
  };
  row("parameters", "three query parameters of a URL as a map", 1.0);
  row("integers", "a million integers without their duplicates, each", 1.3);
  row("strings", "a million strings without their duplicates, each", 1.0);
}

}  // namespace
}  // namespace tq::bench

int main() {
  tq::bench::enterParameters();
  tq::bench::enterDistinct();
  tq::bench::printFigures();
}
