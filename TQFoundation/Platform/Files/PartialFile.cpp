#include "TQFoundation/Platform/Files/PartialFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <utility>

#include "TQFoundation/Platform/Base/Sha256.h"
#include "TQFoundation/Platform/Files/NSFileManager.h"
#include "TQFoundation/Platform/Files/SystemCalls.h"

namespace tq::internal {
namespace {

namespace fs = std::filesystem;

fs::path withEnding(const fs::path& stem, std::string_view ending) {
  return fs::path(stem) += ending;
}

constexpr mode_t kJournalMode = 0600;
constexpr mode_t kFileMode = 0666;  // without what the user's umask takes away, as with other files

// A file that another user has made or may change beyond `mode`, or that has another name too, is not to be
// trusted.
bool isOurs(const FileDescriptor& file, mode_t mode) {
  struct stat info {};
  return ::fstat(file.number(), &info) == 0 && S_ISREG(info.st_mode) && info.st_uid == ::geteuid() &&
         info.st_nlink == 1 && (info.st_mode & 07777 & ~mode) == 0;
}

FileDescriptor openFile(const fs::path& path, mode_t mode, PartialFile::IfMissing ifMissing) {
  const int create = ifMissing == PartialFile::IfMissing::created ? O_CREAT : 0;
  // Not waiting for a writer, should it be a pipe.
  FileDescriptor file(::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | create, mode));
  if (!file.isOpen() || !isOurs(file, mode)) return FileDescriptor();
  return file;
}

bool isAt(const FileDescriptor& file, const fs::path& path) {
  struct stat there {};
  struct stat here {};
  return ::lstat(path.c_str(), &there) == 0 && ::fstat(file.number(), &here) == 0 &&
         there.st_dev == here.st_dev && there.st_ino == here.st_ino;
}

std::int64_t sizeOf(const FileDescriptor& file) {
  struct stat info {};
  return ::fstat(file.number(), &info) == 0 ? info.st_size : 0;
}

}  // namespace

PartialFile::PartialFile(const fs::path& stem, std::string hash)
    : path_(withEnding(stem, kFileEnding)),
      journalPath_(withEnding(stem, kJournalEnding)),
      hash_(std::move(hash)) {}

std::shared_ptr<PartialFile> PartialFile::claim(const fs::path& folder, std::string_view key,
                                                IfMissing ifMissing) {
  return claimHash(folder, sha256(key), ifMissing);
}

std::shared_ptr<PartialFile> PartialFile::claimHash(const fs::path& folder, const std::string& hash,
                                                    IfMissing ifMissing) {
  if (ifMissing == IfMissing::created && NSFileManager::createDirectory(folder)) return nullptr;
  std::shared_ptr<PartialFile> partial(new PartialFile(folder / std::string(kPrefix).append(hash), hash));
  return partial->open(ifMissing) ? partial : nullptr;
}

bool PartialFile::open(IfMissing ifMissing) {
  if (!openJournal(ifMissing)) return false;
  file_ = openFile(path_, kFileMode, IfMissing::created);
  if (!file_.isOpen()) return false;
  readJournal();
  return true;
}

// Whoever has locked the journal owns both files. The last owner may have removed it between our opening and
// our locking it: then it is locked, but no longer the journal.
bool PartialFile::openJournal(IfMissing ifMissing) {
  constexpr int kTries = 8;
  for (int i = 0; i < kTries; ++i) {
    journal_ = openFile(journalPath_, kJournalMode, ifMissing);
    if (!journal_.isOpen() || ::flock(journal_.number(), LOCK_EX | LOCK_NB) != 0) return false;
    if (isAt(journal_, journalPath_)) return true;
  }
  return false;
}

// While the system runs, what a process has written stays written when the process ends. Of an earlier boot
// only what was waited for is certain: a file can have its length and zeros.
void PartialFile::readJournal() {
  std::array<char, kJournalBytes + 1> bytes{};
  const ssize_t count = ::pread(journal_.number(), bytes.data(), bytes.size(), 0);
  const auto journal = decode({bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))});
  if (!journal) return;
  const MutexLock lock(mutex_);
  vouches_ = journal->checkpointed > 0;
  const std::int64_t size = sizeOf(file_);
  if (journal->key != hash_ || size > journal->content.total) return;
  const bool sameBoot = !journal->boot.empty() && journal->boot == bootIdentifier();
  content_ = journal->content;
  usable_ = sameBoot ? size : std::min(size, journal->checkpointed);
  checkpointed_ = std::min(usable_, journal->checkpointed);
}

int PartialFile::writeJournal(std::int64_t checkpointed) {
  const auto bytes =
      encode({.key = hash_, .content = content_, .boot = bootIdentifier(), .checkpointed = checkpointed});
  if (!bytes) return EINVAL;
  const ssize_t written = ::pwrite(journal_.number(), bytes->data(), bytes->size(), 0);
  if (written < 0) return errno;
  if (written != static_cast<ssize_t>(bytes->size())) return ENOSPC;
  checkpointed_ = checkpointed;
  vouches_ = vouches_ || checkpointed > 0;
  return 0;
}

// A crash of the system may keep any of these steps and lose any other. A journal that vouches for the old
// bytes must never be found beside new ones, so it is gone from the disk before the first of them is written.
int PartialFile::restart(const PartialContent& content) {
  const MutexLock lock(mutex_);
  ++version_;
  usable_ = length_ = 0;
  if (::ftruncate(file_.number(), 0) != 0 || ::lseek(file_.number(), 0, SEEK_SET) != 0) return errno;
  content_ = content;
  if (const int error = writeJournal(0)) return error;
  if (vouches_ && ::fdatasync(journal_.number()) != 0) return errno;
  vouches_ = false;
  return 0;
}

int PartialFile::continueAt(std::int64_t bytes) {
  const MutexLock lock(mutex_);
  usable_ = length_ = bytes;
  if (::ftruncate(file_.number(), bytes) != 0 || ::lseek(file_.number(), bytes, SEEK_SET) < 0) return errno;
  return writeJournal(std::min(checkpointed_, bytes));
}

int PartialFile::reserve() const {
  const std::int64_t from = length();
  return from < content_.total ? reserveSpace(file_, from, content_.total) : 0;
}

int PartialFile::write(const char* bytes, std::size_t count) {
  const int error = file_.writeAll(bytes, count);
  const MutexLock lock(mutex_);
  if (error == 0) length_ += static_cast<std::int64_t>(count);
  return error;
}

std::int64_t PartialFile::length() const {
  const MutexLock lock(mutex_);
  return length_;
}

void PartialFile::checkpoint() {
  MutexLock lock(mutex_);
  const int version = version_;
  const std::int64_t length = length_;
  lock.unlock();
  const bool onDisk = ::fdatasync(file_.number()) == 0;
  lock.lock();
  if (onDisk && version == version_ && length > checkpointed_) static_cast<void>(writeJournal(length));
}

// Cutting a file at its end gives back what lies behind it.
void PartialFile::trim() {
  if (::ftruncate(file_.number(), sizeOf(file_)) != 0) return;
}

// The journal goes last: while it is there, it keeps all others away from the name of the file.
void PartialFile::discard() {
  const MutexLock lock(mutex_);
  ++version_;
  ::unlink(path_.c_str());
  ::unlink(journalPath_.c_str());
}

}  // namespace tq::internal
