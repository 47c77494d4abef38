#include "tools/tq/Rows.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string_view>

#include "tools/tq/Text.h"

namespace tq::tool {
namespace {

constexpr std::string_view kUnknown = "-";
constexpr std::size_t kColumns = 5;
constexpr std::array<bool, kColumns> kAlignedRight{false, true, true, false, false};
using Row = std::array<std::string, kColumns>;

const char* sourceOf(const LoadedVideo& video) {
  return video.fetched ? "fetched" : "local";
}

std::string durationText(std::chrono::duration<double> duration) {
  const double seconds = duration.count();
  if (!(seconds > 0) || !std::isfinite(seconds)) return std::string(kUnknown);
  const auto tenths = static_cast<std::int64_t>(std::llround(seconds * 10));
  const auto hours = static_cast<long long>(tenths / 36'000);
  const auto minutes = static_cast<int>(tenths / 600 % 60);
  char text[48];
  if (hours > 0) {
    std::snprintf(text, sizeof text, "%lld:%02d:%02d.%d", hours, minutes, static_cast<int>(tenths / 10 % 60),
                  static_cast<int>(tenths % 10));
  } else {
    std::snprintf(text, sizeof text, "%d:%02d.%d", minutes, static_cast<int>(tenths / 10 % 60),
                  static_cast<int>(tenths % 10));
  }
  return text;
}

Row rowOf(const LoadedVideo& video) {
  Row row{printable(video.identifier), std::string(kUnknown), std::string(kUnknown), std::string(kUnknown),
          sourceOf(video)};
  if (const auto& details = video.asset->details()) {
    row[1] = durationText(details->duration);
    row[2] = std::to_string(std::lround(details->naturalSize.width)) + 'x' +
             std::to_string(std::lround(details->naturalSize.height));
    row[3] = printable(details->codec);
  }
  return row;
}

std::string aligned(const Row& row, const std::array<std::size_t, kColumns>& widths) {
  std::string line;
  for (std::size_t i = 0; i < kColumns; ++i) {
    const std::string padding(widths[i] - columnsOf(row[i]), ' ');
    if (i > 0) line += "  ";
    line += kAlignedRight[i] ? padding + row[i] : row[i] + padding;
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line + '\n';
}

nlohmann::ordered_json objectOf(const LoadedVideo& video) {
  nlohmann::ordered_json object{{"identifier", video.identifier},
                                {"duration", nullptr},
                                {"width", nullptr},
                                {"height", nullptr},
                                {"codec", nullptr},
                                {"source", sourceOf(video)},
                                {"file", nullptr}};
  if (const auto& details = video.asset->details()) {
    if (details->duration.count() > 0) object["duration"] = details->duration.count();
    object["width"] = std::llround(details->naturalSize.width);
    object["height"] = std::llround(details->naturalSize.height);
    object["codec"] = details->codec;
  }
  const auto* const located = dynamic_cast<const AVURLAsset*>(video.asset.get());
  const auto file = located != nullptr ? located->url().filePath() : std::nullopt;
  if (file) object["file"] = file->string();
  return object;
}

}  // namespace

std::string rowsOf(const std::vector<LoadedVideo>& videos) {
  std::vector<Row> rows;
  std::array<std::size_t, kColumns> widths{};
  for (const auto& video : videos) {
    rows.push_back(rowOf(video));
    for (std::size_t i = 0; i < kColumns; ++i) widths[i] = std::max(widths[i], columnsOf(rows.back()[i]));
  }
  std::string text;
  for (const Row& row : rows) text += aligned(row, widths);
  return text;
}

std::string jsonOf(const std::vector<LoadedVideo>& videos) {
  auto array = nlohmann::ordered_json::array();
  for (const auto& video : videos) array.push_back(objectOf(video));
  constexpr int kIndent = 2;
  constexpr bool kAsciiOnly = true;
  return array.dump(kIndent, ' ', kAsciiOnly, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

}  // namespace tq::tool
