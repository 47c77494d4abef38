#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/VideoProbe.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/log.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdarg>
#include <memory>
#include <string>
#include <utility>

#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/ContainerLength.h"
#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/RegularFile.h"

namespace tq::internal {
namespace {

// What cameras, editors and the web wrap videos in. Playlists (hls, dash, concat ...) make a reader open what
// they name, and stay out.
constexpr const char* kContainers =
    "mov,matroska,avi,mpeg,mpegts,mpegvideo,flv,asf,ogg,mxf,dv,rm,gxf,nut,wtv";

// The decoders that find out what a stream of such a container holds, by libavcodec's names. The many others
// were written for files of the nineties and have met few hostile ones since. None of those of sound is
// opened.
constexpr std::string_view kDecoders =
    "av1,dnxhd,dvvideo,ffv1,ffvhuff,flv,h263,h263p,h264,hevc,huffyuv,jpeg2000,libaom-av1,libdav1d,libvpx,"
    "libvpx-vp9,mjpeg,mpeg1video,mpeg2video,mpeg4,mpegvideo,msmpeg4,msmpeg4v1,msmpeg4v2,prores,qtrle,"
    "rawvideo,"
    "rv10,rv20,rv30,rv40,theora,utvideo,vc1,vp6,vp6a,vp6f,vp8,vp9,wmv1,wmv2,wmv3";

// A look reads the head of a file and its index, wherever that lies: 20 MiB for ten hours of video. A reader
// that needs more searches a damaged file for where it goes on.
constexpr int kBufferBytes = 64 * 1024;
constexpr std::int64_t kMostMebibytes = 64;
constexpr std::chrono::seconds kLongestLook{10};

// libav has one log for the whole process, at first the host's standard error. What it says of a look is in
// the look's error already.
thread_local bool looking = false;

void logUnlessLooking(void* object, int level, const char* format, va_list arguments) {
  if (!looking) av_log_default_callback(object, level, format, arguments);
}

// Set once, so that a log that the host sets later stays.
void keepLooksOutOfTheLog() {
  [[maybe_unused]] static const bool once = (av_log_set_callback(&logUnlessLooking), true);
}

// Each function below that returns an int returns 0 or more, or an error of libavformat.

// One file, opened by libavformat. It gets the bytes and nothing else: no name to judge by, no way to open
// more. Reading ends when the look is cancelled or has used up what it may read or how long it may take.
class Container {
 public:
  Container(const RegularFile& file, const std::atomic<bool>& cancelled)
      : file_(file), cancelled_(cancelled) {
    looking = true;
  }
  ~Container();
  Container(const Container&) = delete;
  Container& operator=(const Container&) = delete;

  int open();
  [[nodiscard]] AVFormatContext& format() const { return *format_; }

  // Whether the limits of a look are why it has ended.
  [[nodiscard]] bool hasReachedALimit() const { return hasReachedALimit_; }

 private:
  int prepare();
  static int read(void* self, std::uint8_t* bytes, int count);
  static std::int64_t seek(void* self, std::int64_t offset, int whence);
  static int hasToEnd(void* self);

  const RegularFile& file_;
  const std::atomic<bool>& cancelled_;
  const std::chrono::steady_clock::time_point end_ = std::chrono::steady_clock::now() + kLongestLook;
  std::int64_t mayRead_ = kMostMebibytes * 1024 * 1024;
  bool hasReachedALimit_ = false;
  std::int64_t position_ = 0;
  AVIOContext* bytes_ = nullptr;
  AVFormatContext* format_ = nullptr;
};

Container::~Container() {
  avformat_close_input(&format_);
  if (bytes_ != nullptr) av_freep(&bytes_->buffer);
  avio_context_free(&bytes_);
  looking = false;
}

int Container::open() {
  int result = prepare();
  if (result >= 0) result = avformat_open_input(&format_, "", nullptr, nullptr);
  if (result >= 0) result = avformat_find_stream_info(format_, nullptr);
  return result;
}

int Container::prepare() {
  auto* const buffer = static_cast<std::uint8_t*>(av_malloc(kBufferBytes));
  bytes_ = avio_alloc_context(buffer, kBufferBytes, 0, this, &read, nullptr, &seek);
  if (bytes_ == nullptr) av_free(buffer);
  format_ = avformat_alloc_context();
  if (buffer == nullptr || bytes_ == nullptr || format_ == nullptr) return AVERROR(ENOMEM);
  format_->pb = bytes_;
  format_->flags |= AVFMT_FLAG_CUSTOM_IO;
  format_->interrupt_callback = {.callback = &hasToEnd, .opaque = this};
  format_->io_open = [](AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
    return AVERROR(EACCES);
  };
  // "file" would be allowed by some readers that pass `io_open` by.
  int result = av_opt_set(format_, "protocol_whitelist", "none", 0);
  if (result >= 0) result = av_opt_set(format_, "format_whitelist", kContainers, 0);
  if (result >= 0) result = av_opt_set(format_, "codec_whitelist", kDecoders.data(), 0);
  return result;
}

int Container::hasToEnd(void* self) {
  auto* const container = static_cast<Container*>(self);
  if (container->mayRead_ <= 0 || std::chrono::steady_clock::now() >= container->end_)
    container->hasReachedALimit_ = true;
  return container->cancelled_ || container->hasReachedALimit_ ? 1 : 0;
}

int Container::read(void* self, std::uint8_t* bytes, int count) {
  auto* const container = static_cast<Container*>(self);
  if (hasToEnd(self) != 0) return AVERROR_EXIT;
  const auto got = container->file_.read(container->position_, bytes, static_cast<std::size_t>(count));
  if (got == 0) return AVERROR_EOF;
  if (got > 0) {
    container->position_ += got;
    container->mayRead_ -= got;
  }
  return static_cast<int>(got);  // minus an errno is libavformat's own way
}

std::int64_t Container::seek(void* self, std::int64_t offset, int whence) {
  auto* const container = static_cast<Container*>(self);
  const int from = whence & ~AVSEEK_FORCE;
  if (from == AVSEEK_SIZE) return container->file_.size();
  if (from == SEEK_CUR) offset += container->position_;
  if (from == SEEK_END) offset += container->file_.size();
  if (offset < 0) return AVERROR(EINVAL);
  return container->position_ = offset;
}

bool isVideo(const AVStream& stream) {
  constexpr int kPictures = AV_DISPOSITION_ATTACHED_PIC | AV_DISPOSITION_TIMED_THUMBNAILS;
  return stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO && (stream.disposition & kPictures) == 0;
}

bool hasDecoder(const AVStream& stream) {
  const AVCodec* const decoder = avcodec_find_decoder(stream.codecpar->codec_id);
  if (decoder == nullptr) return false;
  const std::string name = ',' + std::string(decoder->name) + ',';
  return (',' + std::string(kDecoders) + ',').find(name) != std::string::npos;
}

// Skips what other streams have, and what the container itself knows to be damaged or cut short.
int readFirstPacket(AVFormatContext& format, const AVStream& stream) {
  for (unsigned i = 0; i < format.nb_streams; ++i) {
    if (format.streams[i] != &stream) format.streams[i]->discard = AVDISCARD_ALL;
  }
  AVPacket* packet = av_packet_alloc();
  int result = packet == nullptr ? AVERROR(ENOMEM) : 0;
  for (bool found = false; result >= 0 && !found;) {
    result = av_read_frame(&format, packet);
    if (result < 0) break;
    const bool whole = packet->size > 0 && (packet->flags & AV_PKT_FLAG_CORRUPT) == 0;
    found = packet->stream_index == stream.index && whole;
    av_packet_unref(packet);
  }
  av_packet_free(&packet);
  return result;
}

// Of a container without timestamps libavformat makes one up from the bitrate that the first frames claim.
std::chrono::duration<double> durationOf(const AVFormatContext& format, const AVStream& stream) {
  double seconds = 0;
  if ((format.iformat->flags & AVFMT_NOTIMESTAMPS) != 0) return {};
  if (format.duration != AV_NOPTS_VALUE) {
    seconds = static_cast<double>(format.duration) / AV_TIME_BASE;
  } else if (stream.duration != AV_NOPTS_VALUE) {
    seconds = static_cast<double>(stream.duration) * av_q2d(stream.time_base);
  }
  return std::chrono::duration<double>(std::max(seconds, 0.0));
}

AVVideoDetails detailsOf(const AVFormatContext& format, const AVStream& stream) {
  const AVCodecParameters& codec = *stream.codecpar;
  return {
      .duration = durationOf(format, stream),
      .naturalSize = {.width = static_cast<double>(codec.width), .height = static_cast<double>(codec.height)},
      .codec = avcodec_get_name(codec.codec_id)};
}

VideoProbe notPlayable(std::string_view name, std::int64_t code, const std::string& reason) {
  return {.details = std::nullopt,
          .error = makeError(NSCocoaErrorDomain, code, std::string(name) + " is not playable: " + reason)};
}

VideoProbe damaged(std::string_view name, const std::string& reason) {
  return notPlayable(name, NSFileReadCorruptFileError, reason);
}

// A container that is not on the list ends in `EINVAL`.
VideoProbe failed(std::string_view name, int error, const Container& container, const std::string& reason) {
  if (container.hasReachedALimit()) {
    return notPlayable(name, NSFileReadUnknownError,
                       "looking for its video takes more than " + std::to_string(kMostMebibytes) +
                           " MiB of reading, or " + std::to_string(kLongestLook.count()) + " s");
  }
  if (error == AVERROR_INVALIDDATA || error == AVERROR(EINVAL) || error == AVERROR_EOF)
    return damaged(name, reason);
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  av_strerror(error, text.data(), text.size());
  return notPlayable(name, NSFileReadUnknownError, text.data());
}

}  // namespace

VideoProbe probeVideo(const std::filesystem::path& path, std::string_view name,
                      const std::atomic<bool>& cancelled) {
  const RegularFile file(path);
  if (file.error()) return {.details = std::nullopt, .error = file.error()};
  if (file.size() == 0) return damaged(name, "the file is empty");
  if (announcedLength(file) > file.size()) return damaged(name, "it is shorter than its container says");

  keepLooksOutOfTheLog();
  Container container(file, cancelled);
  if (const int error = container.open(); error < 0)
    return failed(name, error, container, "it is damaged, or no video container");

  AVFormatContext& format = container.format();
  AVStream** const end = format.streams + format.nb_streams;
  AVStream** const first = std::find_if(format.streams, end, [](AVStream* s) { return isVideo(*s); });
  if (first == end) return damaged(name, "it has no video stream");
  AVStream** const found =
      std::find_if(first, end, [](AVStream* s) { return isVideo(*s) && hasDecoder(*s); });
  if (found == end)
    return damaged(name,
                   std::string("there is no decoder for ") + avcodec_get_name((*first)->codecpar->codec_id));
  if (const int error = readFirstPacket(format, **found); error < 0)
    return failed(name, error, container, "its video has no packet that can be read");
  return {.details = detailsOf(format, **found), .error = std::nullopt};
}

}  // namespace tq::internal
