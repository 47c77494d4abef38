#include "tests/Platform/Default/DirectoryPhotoLibrary/Clips.h"

#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

// The clips' names, each with its encoder and further arguments.
constexpr const char* kClips =
    "ffv1.mkv ffv1;flv1.flv flv;h264.MP4 libx264;h264.f4v libx264;h264.mkv libx264;h264.ts libx264;"
    "h264.mov libx264 -movflags faststart;hevc.mp4 libx265 -x265-params log-level=error;huffyuv.avi huffyuv;"
    "mjpeg.avi mjpeg;mjpeg.qt mjpeg -f mov;mpeg1video.mpg mpeg1video;mpeg2video.m2ts mpeg2video -f mpegts;"
    "mpeg2video.mxf mpeg2video;mpeg2video.vob mpeg2video;mpeg4.3gp mpeg4;mpeg4.avi mpeg4;"
    "mpeg4.m4v mpeg4 -f mp4;msmpeg4v3.asf msmpeg4;prores.mov prores_ks;theora.ogv libtheora;vp8.webm libvpx;"
    "vp9.webm libvpx-vp9;wmv2.wmv wmv2";

// One call for all: a start of ffmpeg takes longer than most of the clips.
void makeClips(const TemporaryFolder& folder) {
  std::string command =
      "ffmpeg -nostdin -v error -f lavfi -i testsrc=size=128x96:rate=25 -f lavfi -i sine"
      " -map 0 -map 1 -t 0.2 -c:v mjpeg -frames:v 1 -disposition:v:0 attached_pic -c:a aac " +
      (folder / "cover.mp4").string();
  for (const auto& [name, encoder] : allClips())
    command +=
        " -map 0 -t " + std::to_string(kClipDuration) + " -c:v " + encoder + " " + (folder / name).string();
  if (std::system(command.c_str()) != 0) throw std::runtime_error("ffmpeg cannot make the clips");
}

}  // namespace

const std::map<std::string, std::string>& allClips() {
  static const auto& clips = *new auto([] {
    std::map<std::string, std::string> all;
    std::istringstream table(kClips);
    for (std::string name; std::getline(table, name, ' ');) std::getline(table, all[name], ';');
    return all;
  }());
  return clips;
}

std::filesystem::path clipFile(const std::string& name) {
  static const TemporaryFolder folder("/tmp");  // not in a TMPDIR that ends with one test
  static const bool made = (makeClips(folder), true);
  static_cast<void>(made);
  return folder / name;
}

}  // namespace tq::tests
