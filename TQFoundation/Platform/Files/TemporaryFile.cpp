#include "TQFoundation/Platform/Files/TemporaryFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <random>
#include <utility>

#include "TQFoundation/Platform/Files/SystemCalls.h"

namespace tq::internal {
namespace {

constexpr std::string_view kPrefix = ".download-";
constexpr std::size_t kDigits = 16;
constexpr int kTries = 16;

std::filesystem::path randomPathIn(const std::filesystem::path& folder) {
  static thread_local std::mt19937_64 random{std::random_device{}()};
  std::array<char, kDigits + 1> digits;
  std::snprintf(digits.data(), digits.size(), "%016" PRIx64, std::uint64_t{random()});
  return folder / std::string(kPrefix).append(digits.data());
}

}  // namespace

bool TemporaryFile::isName(std::string_view name) {
  return name.starts_with(kPrefix) && name.size() == kPrefix.size() + kDigits &&
         name.find_first_not_of("0123456789abcdef", kPrefix.size()) == std::string_view::npos;
}

int TemporaryFile::createIn(const std::filesystem::path& folder) {
  descriptor_ = openUnnamed(folder);
  if (!descriptor_.isOpen()) return createNamed(folder);
  path_ = randomPathIn(folder);
  return 0;
}

int TemporaryFile::createNamed(const std::filesystem::path& folder) {
  for (int i = 0; i < kTries; ++i) {
    std::filesystem::path path = randomPathIn(folder);
    FileDescriptor descriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (descriptor.isOpen()) {
      ::flock(descriptor.number(), LOCK_EX | LOCK_NB);
      path_ = std::move(path);
      named_ = true;
      descriptor_ = std::move(descriptor);
      return 0;
    }
    if (errno != EEXIST) return errno;
  }
  return EEXIST;
}

int TemporaryFile::setMode(unsigned mode) {
  return ::fchmod(descriptor_.number(), static_cast<mode_t>(mode)) == 0 ? 0 : errno;
}

int TemporaryFile::write(const char* bytes, std::size_t count) {
  return descriptor_.writeAll(bytes, count);
}

int TemporaryFile::reserve(std::int64_t bytes) const {
  return bytes > 0 ? reserveSpace(descriptor_, 0, bytes) : 0;
}

int TemporaryFile::close() {
  for (int i = 0; !named_; ++i) {
    const int error = giveName(descriptor_, path_);
    named_ = error == 0;
    if (error != 0 && (error != EEXIST || i == kTries)) return error;
    if (error != 0) path_ = randomPathIn(path_.parent_path());
  }
  return descriptor_.close();
}

int TemporaryFile::flushAndClose() {
  if (::fsync(descriptor_.number()) != 0) return errno;
  return close();
}

std::filesystem::path TemporaryFile::release() {
  named_ = false;
  return std::exchange(path_, {});
}

void TemporaryFile::remove() {
  descriptor_ = FileDescriptor();
  if (named_) ::unlink(path_.c_str());
  static_cast<void>(release());
}

}  // namespace tq::internal
