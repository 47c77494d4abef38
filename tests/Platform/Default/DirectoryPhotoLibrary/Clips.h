#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <string_view>

namespace tq::tests {

/// A short real video of 128 x 96 pixels.
struct Clip {
  const char* name;
  std::string_view codec;
  double seconds;
  const char* arguments;  ///< What `ffmpeg` makes it with.
};

/// In seconds: some containers say no more than where the last frame begins, or the last but two.
inline constexpr double kDurationTolerance = 0.15;

/// All of them differ in codec or container.
[[nodiscard]] std::span<const Clip> allClips();

/// A clip's file, or that of "cover.mp4": sound and a picture, but no video. Made on first use, once per
/// program.
[[nodiscard]] std::filesystem::path clipFile(const std::string& name);

}  // namespace tq::tests
