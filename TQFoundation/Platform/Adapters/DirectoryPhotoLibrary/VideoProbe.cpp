#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/VideoProbe.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <utility>

#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/RegularFile.h"

namespace tq {
namespace {

// What cameras, editors and the web wrap videos in. Playlists (hls, dash, concat ...) make a reader open what
// they name, and stay out.
constexpr const char* kContainers =
    "mov,matroska,avi,mpeg,mpegts,mpegvideo,flv,asf,ogg,mxf,dv,rm,gxf,nut,wtv";
constexpr int kBufferBytes = 64 * 1024;

// Every step below answers 0 or more, or an error of libavformat.

// One file, opened by libavformat. It gets the bytes and nothing else: no name to judge by, no way to open
// more.
class Container {
 public:
  Container(const RegularFile& file, const std::atomic<bool>& cancelled)
      : file_(file), cancelled_(cancelled) {}
  ~Container();
  Container(const Container&) = delete;
  Container& operator=(const Container&) = delete;

  int open();
  [[nodiscard]] AVFormatContext& format() const { return *format_; }

 private:
  int prepare();
  static int read(void* self, std::uint8_t* bytes, int count);
  static std::int64_t seek(void* self, std::int64_t offset, int whence);
  static int isCancelled(void* self) { return static_cast<Container*>(self)->cancelled_ ? 1 : 0; }

  const RegularFile& file_;
  const std::atomic<bool>& cancelled_;
  std::int64_t position_ = 0;
  AVIOContext* bytes_ = nullptr;
  AVFormatContext* format_ = nullptr;
};

Container::~Container() {
  avformat_close_input(&format_);
  if (bytes_ != nullptr) av_freep(&bytes_->buffer);
  avio_context_free(&bytes_);
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
  format_->interrupt_callback = {.callback = &isCancelled, .opaque = this};
  format_->io_open = [](AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
    return AVERROR(EACCES);
  };
  // "file" would be allowed by some readers that pass `io_open` by.
  const int result = av_opt_set(format_, "protocol_whitelist", "none", 0);
  return result < 0 ? result : av_opt_set(format_, "format_whitelist", kContainers, 0);
}

int Container::read(void* self, std::uint8_t* bytes, int count) {
  auto* const container = static_cast<Container*>(self);
  if (container->cancelled_) return AVERROR_EXIT;
  const auto got = container->file_.read(container->position_, bytes, static_cast<std::size_t>(count));
  if (got == 0) return AVERROR_EOF;
  if (got > 0) container->position_ += got;
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
  return avcodec_find_decoder(stream.codecpar->codec_id) != nullptr;
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

// `EINVAL` is what a container that is not on the list gets.
VideoProbe failed(std::string_view name, int error, const std::string& reason) {
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

  Container container(file, cancelled);
  if (const int error = container.open(); error < 0)
    return failed(name, error, "it is damaged, or no video container");

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
    return failed(name, error, "its video has no packet that can be read");
  return {.details = detailsOf(format, **found), .error = std::nullopt};
}

}  // namespace tq
