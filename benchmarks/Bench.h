#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tq::bench {

/// What one contender's rounds took, by the contender's name.
using Samples = std::map<std::string, std::vector<double>, std::less<>>;

/// The contender that is this library, and the one that does no more than physics and the system ask.
inline constexpr std::string_view kOurs = "ours";
inline constexpr std::string_view kLimit = "limit";

/// The usual round, which no rare stroke of luck or bad luck moves.
[[nodiscard]] double median(std::vector<double> samples);

/// Has every contender do its round, then every one again, `rounds` times: the machine's moods hit all alike.
[[nodiscard]] Samples interleaved(int rounds,
                                  const std::map<std::string, std::function<double()>>& contenders);

/// Runs every Google Benchmark of the program that is named FIGURE/CONTENDER, interleaved in the same way,
/// and answers each figure's samples: nanoseconds of wall time per item processed (per iteration without
/// items).
[[nodiscard]] std::map<std::string, Samples, std::less<>> runGoogleBenchmarks(int rounds);

/// One row of the table.
struct Figure {
  enum class Against { peer, limit };

  std::string_view work;
  std::string_view unit;
  Samples samples;    ///< `kOurs`, `kLimit`, all others are peers.
  double target = 0;  ///< The highest ratio, of ours to `against`, that is not short.
  Against against = Against::peer;
};

/// Prints a row as fields between tabs, for `./bench` to line up.
void print(std::string_view area, const Figure& figure);

/// Prints a remark for below the table: a peer that is not installed.
void printLeftOut(std::string_view area, std::string_view peer);

}  // namespace tq::bench
