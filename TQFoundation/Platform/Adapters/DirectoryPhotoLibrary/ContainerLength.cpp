#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/ContainerLength.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace tq::internal {
namespace {

using namespace std::string_view_literals;

// A day of fragments of half a second.
constexpr int kMostBoxes = 200'000;

// What mp4 and mov have at their top level. A name that is not on the list is no box but trailing bytes.
constexpr std::array<std::string_view, 17> kBoxes = {"ftyp", "moov", "mdat", "moof", "free", "skip",
                                                     "wide", "mfra", "sidx", "ssix", "styp", "meta",
                                                     "uuid", "pdin", "prft", "emsg", "pnot"};

// The first bytes of a part of the file, zeros where it has fewer.
class Bytes {
 public:
  Bytes(const RegularFile& file, std::int64_t offset) {
    count_ =
        static_cast<std::size_t>(std::max<std::int64_t>(file.read(offset, bytes_.data(), bytes_.size()), 0));
  }
  [[nodiscard]] std::size_t count() const { return count_; }
  [[nodiscard]] unsigned char operator[](std::size_t i) const {
    return static_cast<unsigned char>(bytes_[i]);
  }
  [[nodiscard]] std::string_view text(std::size_t begin, std::size_t length) const {
    return std::string_view(bytes_.data(), count_).substr(std::min(begin, count_), length);
  }
  [[nodiscard]] std::uint64_t bigEndian(std::size_t begin, std::size_t length) const {
    std::uint64_t value = 0;
    for (std::size_t i = begin; i < begin + length; ++i) value = value << 8 | (*this)[i];
    return value;
  }
  [[nodiscard]] std::uint64_t littleEndian(std::size_t begin) const {
    std::uint64_t value = 0;
    for (std::size_t i = begin + 4; i > begin; --i) value = value << 8 | (*this)[i - 1];
    return value;
  }

 private:
  std::array<char, 32> bytes_{};
  std::size_t count_ = 0;
};

bool isBox(std::string_view name) {
  return std::find(kBoxes.begin(), kBoxes.end(), name) != kBoxes.end();
}

// Where a part that begins at `offset` ends; beyond every file if that overflows.
std::int64_t endOf(std::int64_t offset, std::uint64_t length) {
  const auto most = static_cast<std::uint64_t>(INT64_MAX - offset);
  return offset + static_cast<std::int64_t>(std::min(length, most));
}

std::int64_t lengthOfBoxes(const RegularFile& file) {
  std::int64_t end = 0;
  for (int box = 0; box < kMostBoxes && end < file.size(); ++box) {
    const Bytes header(file, end);
    if (!isBox(header.text(4, 4))) break;
    const std::uint64_t small = header.bigEndian(0, 4);
    const std::uint64_t size = small == 1 ? header.bigEndian(8, 8) : small;
    if (size < 8) break;  // 0: up to the end of the file
    end = endOf(end, size);
  }
  return end;
}

// A large file is several chunks in a row. Recorders that were switched off leave 0, or all ones.
std::int64_t lengthOfChunks(const RegularFile& file) {
  std::int64_t end = 0;
  for (std::int64_t next = 0; next < file.size();) {
    const Bytes header(file, next);
    const std::uint64_t size = header.littleEndian(4);
    if (header.text(0, 4) != "RIFF" || size == 0 || size == UINT32_MAX) break;
    end = endOf(next, 8 + size);
    next = endOf(end, size % 2);
  }
  return end;
}

struct Element {
  std::uint64_t id;
  std::uint64_t size;
  std::size_t header;  // bytes before the content; 0 if this is no element, or one of unknown size
};

// The leading zeros of a size's first byte say how many bytes it has; the ids at hand have four.
Element elementAt(const Bytes& bytes) {
  std::size_t length = 1;
  while (length <= 8 && (bytes[4] & 0x80 >> (length - 1)) == 0) ++length;
  if (length > 8 || bytes.count() < 4 + length) return {.id = 0, .size = 0, .header = 0};
  const std::uint64_t mask = (std::uint64_t{1} << 7 * length) - 1;
  const std::uint64_t size = bytes.bigEndian(4, length) & mask;
  return {.id = bytes.bigEndian(0, 4), .size = size, .header = size == mask ? 0 : 4 + length};
}

std::int64_t lengthOfSegment(const RegularFile& file) {
  constexpr std::uint64_t kSegment = 0x18538067;
  const Element head = elementAt(Bytes(file, 0));
  if (head.header == 0) return 0;
  const std::int64_t begin = endOf(static_cast<std::int64_t>(head.header), head.size);
  const Element segment = elementAt(Bytes(file, begin));
  if (segment.header == 0 || segment.id != kSegment) return 0;
  return endOf(begin + static_cast<std::int64_t>(segment.header), segment.size);
}

}  // namespace

std::int64_t announcedLength(const RegularFile& file) {
  const Bytes begin(file, 0);
  if (isBox(begin.text(4, 4))) return lengthOfBoxes(file);
  if (begin.text(0, 4) == "RIFF") return lengthOfChunks(file);
  if (begin.text(0, 4) == "\x1a\x45\xdf\xa3"sv) return lengthOfSegment(file);
  return 0;
}

}  // namespace tq::internal
