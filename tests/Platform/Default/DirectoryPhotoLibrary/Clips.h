#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace tq::tests {

/// How long every clip lasts, and in seconds how far off a container may be: some say no more than where the
/// last frame begins, or the last but two.
inline constexpr double kClipDuration = 1.2;
inline constexpr double kDurationTolerance = 0.15;

/// Short real videos of 128 x 96 pixels by their names, and what `ffmpeg` makes them with. All of them differ
/// in codec, which is what the name begins with, or in container.
[[nodiscard]] const std::map<std::string, std::string>& allClips();

/// A clip's file, or that of "cover.mp4": sound and a picture, but no video. Made on first use, once per
/// program.
[[nodiscard]] std::filesystem::path clipFile(const std::string& name);

}  // namespace tq::tests
