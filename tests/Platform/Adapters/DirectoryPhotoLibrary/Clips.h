#pragma once

#include <cstdlib>
#include <map>
#include <sstream>

#include "tests/support/TemporaryFolder.h"

namespace tq::tests {

/// How long every clip lasts, and in seconds how far off a container may be: some say no more than where the
/// last frame begins, or the last but two.
inline constexpr double kClipDuration = 1.2;
inline constexpr double kDurationTolerance = 0.15;

/// Short real videos of 128 x 96 pixels by their names, and what `ffmpeg` makes them with. All of them differ
/// in codec, which is what the name begins with, or in container.
inline std::map<std::string, std::string> allClips() {
  std::istringstream table(
      "ffv1.mkv ffv1;flv1.flv flv;h264.MP4 libx264;h264.f4v libx264;h264.mkv libx264;h264.ts libx264;"
      "h264.mov libx264 -movflags faststart;hevc.mp4 libx265 -x265-params log-level=error;mjpeg.avi mjpeg;"
      "mjpeg.qt mjpeg -f mov;mpeg1video.mpg mpeg1video;mpeg2video.m2ts mpeg2video -f mpegts;"
      "mpeg2video.mxf mpeg2video;mpeg2video.vob mpeg2video;mpeg4.3gp mpeg4;mpeg4.avi mpeg4;"
      "mpeg4.m4v mpeg4 -f mp4;msmpeg4v3.asf msmpeg4;prores.mov prores_ks;theora.ogv libtheora;"
      "vp8.webm libvpx;vp9.webm libvpx-vp9;wmv2.wmv wmv2");
  std::map<std::string, std::string> all;
  for (std::string name; std::getline(table, name, ' ');) std::getline(table, all[name], ';');
  return all;
}

/// A clip's file, or one of "cover.mp4" (sound and a picture, but no video), "sound.mp4" and "cinepak.mov"
/// (no common codec). Made on first use, once per program and by one call: a start of ffmpeg takes longer
/// than most of the clips.
inline std::filesystem::path clipFile(const std::string& name) {
  static const TemporaryFolder folder("/tmp");  // not in a TMPDIR that ends with one test
  static const int status = [] {
    std::string command =
        "ffmpeg -nostdin -v error -f lavfi -i testsrc=size=128x96:rate=25 -f lavfi -i sine"
        " -map 0 -map 1 -t 0.2 -c:v mjpeg -frames:v 1 -disposition:v:0 attached_pic -c:a aac " +
        (folder / "cover.mp4").string() + " -map 1 -t 0.2 -c:a aac " + (folder / "sound.mp4").string() +
        " -map 0 -t 0.2 -c:v cinepak " + (folder / "cinepak.mov").string();
    const std::string each = " -map 0 -t " + std::to_string(kClipDuration) + " -c:v ";
    for (const auto& [clip, encoder] : allClips()) command += each + encoder + " " + (folder / clip).string();
    return std::system(command.c_str());
  }();
  if (status != 0) throw std::runtime_error("ffmpeg cannot make the clips");
  return folder / name;
}

}  // namespace tq::tests
