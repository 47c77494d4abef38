#include "TQFoundation/Platform/Adapters/Curl/TransferFile.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <utility>

#include "TQFoundation/Platform/Base/Mutex.h"
#include "TQFoundation/Platform/Base/NeverDestroyed.h"
#include "TQFoundation/Platform/Base/Sha256.h"
#include "TQFoundation/Platform/Files/Leftovers.h"
#include "TQFoundation/Platform/Folders/Directories.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"

namespace tq::internal {
namespace {

namespace fs = std::filesystem;

// What is smaller is fetched again sooner than two more files are made for it.
constexpr std::int64_t kSmallestPartialFile = std::int64_t{256} << 10;

// So much may be lost by a crash of the system. Waiting for the disk more often slows a fast transfer down.
constexpr std::chrono::seconds kCheckpointInterval{5};

bool onSameVolume(const fs::path& a, const fs::path& b) {
  struct stat infoA {};
  struct stat infoB {};
  return ::stat(a.c_str(), &infoA) == 0 && ::stat(b.c_str(), &infoB) == 0 && infoA.st_dev == infoB.st_dev;
}

// Once for each folder and run of the program.
void removeLeftoversOnce(const fs::path& folder, const LeftoverAges& ages) {
  static NeverDestroyed<Mutex> mutex;
  static NeverDestroyed<std::set<fs::path>> seen;
  const MutexLock lock(*mutex);
  if (folder.empty() || !seen->insert(folder).second) return;
  DispatchQueue::global()->async([folder, ages] { removeLeftovers(folder, ages); });
}

}  // namespace

TransferFile::TransferFile(const NSURLSessionConfiguration& configuration, const URL& url)
    : place_(configuration.partials),
      destinationFolder_(configuration.destinationFolder),
      reserves_(configuration.durable),
      key_(!place_               ? ""
           : place_->key.empty() ? url.absoluteString()
                                 : place_->key),
      source_(place_ ? sha256(withoutSecrets(url.absoluteString())) : "") {}

// A date tells versions apart only at one place; a strong tag is believed wherever the key's file has moved
// to.
const std::optional<RequestedRest>& TransferFile::claimRest() {
  if (!place_ || partial_) return rest_;
  const LeftoverAges ages{.partialFiles = place_->keptFor};
  for (const fs::path& folder : {place_->folder, destinationFolder_, NSTemporaryDirectory()})
    removeLeftoversOnce(folder, ages);
  partial_ = PartialFile::claim(place_->folder, key_, PartialFile::IfMissing::absent);
  if (!partial_) return rest_;
  const PartialContent& content = partial_->content();
  // A file that is whole asks for its last byte, which shows whether it is still the server's.
  const std::int64_t first = std::min(partial_->usableBytes(), content.total - 1);
  if (first <= 0 || (!content.validator.lastModified.empty() && content.source != source_)) {
    dropPartial();
  } else {
    rest_ = {.first = first, .content = content};
  }
  return rest_;
}

int TransferFile::prepareTemporary() {
  return place_ || !temporary_.path().empty() ? 0 : openTemporary();
}

int TransferFile::begin(BodyUse use, const ResponseHead& head) {
  lastCheckpoint_ = std::chrono::steady_clock::now();
  if (use == BodyUse::continues) {
    intoPartial_ = true;
    return partial_->continueAt(rest_->first);
  }
  rest_.reset();
  if (use == BodyUse::startsOver && startPartial(head)) return 0;
  if (use == BodyUse::apart) {
    partial_.reset();
  } else {
    dropPartial();
  }
  return temporary_.path().empty() ? openTemporary() : 0;
}

// Where that is not possible, because another transfer owns the file or its folder cannot be written to, this
// one goes on without.
bool TransferFile::startPartial(const ResponseHead& head) {
  const auto content = continuableContent(head, source_);
  if (!place_ || !content || content->total < kSmallestPartialFile) return false;
  if (!partial_) partial_ = PartialFile::claim(place_->folder, key_, PartialFile::IfMissing::created);
  intoPartial_ = partial_ && partial_->restart(*content) == 0;
  return intoPartial_;
}

// In the temporary folder, unless the file could not be renamed from there to where it is wanted.
int TransferFile::openTemporary() {
  const fs::path temporary = NSTemporaryDirectory();
  if (!destinationFolder_.empty() && !onSameVolume(destinationFolder_, temporary) &&
      temporary_.createIn(destinationFolder_) == 0)
    return 0;
  return temporary_.createIn(temporary);
}

int TransferFile::reserve(std::int64_t expected) {
  if (!reserves_ || expected < 0) return 0;
  const int error = intoPartial_ ? partial_->reserve() : temporary_.reserve(expected);
  reserved_ = error == 0;
  return error == ENOSPC || error == EDQUOT || error == EFBIG ? error : 0;
}

int TransferFile::write(const char* bytes, std::size_t count) {
  if (!intoPartial_) return temporary_.write(bytes, count);
  const int error = partial_->write(bytes, count);
  const auto now = std::chrono::steady_clock::now();
  if (now - lastCheckpoint_ >= kCheckpointInterval) {
    lastCheckpoint_ = now;
    DispatchQueue::global()->async([partial = partial_] { partial->checkpoint(); });
  }
  return error;
}

NSError TransferFile::error(int systemError) const {
  if (!path().empty()) return fileWriteError(systemError, path(), "cannot write to");
  const fs::path temporary = NSTemporaryDirectory();
  const auto reason = temporaryDirectoryError();
  return reason ? *reason : fileWriteError(systemError, temporary, "cannot create a temporary file in");
}

FinishedFile TransferFile::release() {
  if (!intoPartial_) return {.path = temporary_.release()};
  return {.path = partial_->path(), .partial = std::move(partial_)};
}

void TransferFile::abandon() {
  temporary_.remove();
  if (!intoPartial_) return partial_.reset();
  partial_->trim();
  if (partial_->length() == 0) return dropPartial();
  intoPartial_ = false;
  partial_.reset();
}

void TransferFile::discard() {
  temporary_.remove();
  dropPartial();
}

void TransferFile::dropPartial() {
  if (partial_) partial_->discard();
  partial_.reset();
  intoPartial_ = false;
}

}  // namespace tq::internal
