#include "tests/Platform/Default/DirectoryPhotoLibrary/Clips.h"

#include <cstdlib>
#include <stdexcept>

#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

constexpr Clip kClips[] = {
    {"ffv1.mkv", "ffv1", 1.2, "-c:v ffv1"},
    {"flv1.flv", "flv1", 1.0, "-c:v flv"},
    {"h264.MP4", "h264", 1.0, "-c:v libx264"},
    {"h264.f4v", "h264", 1.2, "-c:v libx264"},
    {"h264.mkv", "h264", 1.0, "-c:v libx264"},
    {"h264.mov", "h264", 1.4, "-c:v libx264 -movflags faststart"},
    {"h264.ts", "h264", 1.2, "-c:v libx264"},
    {"hevc.mp4", "hevc", 1.2, "-c:v libx265 -x265-params log-level=error"},
    {"huffyuv.avi", "huffyuv", 1.0, "-c:v huffyuv"},
    {"mjpeg.avi", "mjpeg", 1.4, "-c:v mjpeg"},
    {"mjpeg.qt", "mjpeg", 1.4, "-c:v mjpeg -f mov"},
    {"mpeg1.mpg", "mpeg1video", 1.2, "-c:v mpeg1video"},
    {"mpeg2.m2ts", "mpeg2video", 1.2, "-c:v mpeg2video -f mpegts"},
    {"mpeg2.mxf", "mpeg2video", 1.4, "-c:v mpeg2video"},
    {"mpeg2.vob", "mpeg2video", 1.4, "-c:v mpeg2video"},
    {"mpeg4.3gp", "mpeg4", 1.4, "-c:v mpeg4"},
    {"mpeg4.avi", "mpeg4", 1.2, "-c:v mpeg4"},
    {"mpeg4.m4v", "mpeg4", 1.4, "-c:v mpeg4 -f mp4"},
    {"msmpeg4.asf", "msmpeg4v3", 1.0, "-c:v msmpeg4"},
    {"prores.mov", "prores", 1.2, "-c:v prores_ks"},
    {"theora.ogv", "theora", 1.2, "-c:v libtheora"},
    {"vp8.webm", "vp8", 1.4, "-c:v libvpx"},
    {"vp9.webm", "vp9", 1.0, "-c:v libvpx-vp9"},
    {"wmv2.wmv", "wmv2", 1.4, "-c:v wmv2"},
};

// One call for all: a start of ffmpeg takes longer than most of the clips.
void makeClips(const TemporaryFolder& folder) {
  std::string command =
      "ffmpeg -nostdin -v error -f lavfi -i testsrc=size=128x96:rate=25 -f lavfi -i sine"
      " -map 0 -map 1 -t 0.2 -c:v mjpeg -frames:v 1 -disposition:v:0 attached_pic -c:a aac " +
      (folder / "cover.mp4").string();
  for (const Clip& clip : kClips)
    command += " -map 0 -t " + std::to_string(clip.seconds) + " " + clip.arguments + " " +
               (folder / clip.name).string();
  if (std::system(command.c_str()) != 0) throw std::runtime_error("ffmpeg cannot make the clips");
}

}  // namespace

std::span<const Clip> allClips() {
  return kClips;
}

std::filesystem::path clipFile(const std::string& name) {
  static const TemporaryFolder folder("/tmp");  // not in a TMPDIR that ends with one test
  static const bool made = (makeClips(folder), true);
  static_cast<void>(made);
  return folder / name;
}

}  // namespace tq::tests
