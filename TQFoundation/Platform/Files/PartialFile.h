#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "TQFoundation/Platform/Base/FileDescriptor.h"
#include "TQFoundation/Platform/Base/Mutex.h"
#include "TQFoundation/Platform/Files/PartialJournal.h"

namespace tq::internal {

/// A file that comes in parts, over several runs of the program if need be, and is never continued with the
/// parts of another version.
///
///     auto partial = PartialFile::claim(folder, key, PartialFile::IfMissing::absent);
///     if (partial && partial->usableBytes() > 0) askForTheRestOf(partial->content());
///     ...
///     partial->restart(content);                  // or continueAt(partial->usableBytes())
///     partial->write(bytes, count);
///     NSFileManager::moveItem(partial->path(), target);
///     partial->discard();                         // without it the file is kept
///
/// It lies in its folder under a hidden name that is made of the key's hash, beside a journal. One owner at a
/// time, of all processes: others are refused until this is destroyed or its process is gone. What does not
/// belong to this user alone is not touched.
///
/// After a crash of the program all bytes written are usable, after one of the system those before the last
/// `checkpoint`.
///
/// `checkpoint` is thread-safe. All else: one thread at a time.
class PartialFile {
 public:
  enum class IfMissing { absent, created };

  /// Takes the partial file of `key` in `folder`, which is created with it where asked. Null when another
  /// owner has it, when there is none, or when it cannot be made.
  [[nodiscard]] static std::shared_ptr<PartialFile> claim(const std::filesystem::path& folder,
                                                          std::string_view key, IfMissing ifMissing);

  /// The same, by the hash of the key.
  [[nodiscard]] static std::shared_ptr<PartialFile> claimHash(const std::filesystem::path& folder,
                                                              const std::string& hash, IfMissing ifMissing);

  ~PartialFile() = default;
  PartialFile(const PartialFile&) = delete;
  PartialFile& operator=(const PartialFile&) = delete;

  /// The bytes at the front of the file that are of `content`. 0 when the journal does not vouch for any.
  [[nodiscard]] std::int64_t usableBytes() const { return usable_; }
  [[nodiscard]] const PartialContent& content() const { return content_; }
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

  /// Empties the file: what follows is `content`. Returns 0 or the errno.
  [[nodiscard]] int restart(const PartialContent& content);

  /// What follows comes after the first `bytes` of the usable bytes. Returns 0 or the errno.
  [[nodiscard]] int continueAt(std::int64_t bytes);

  /// Takes the space of what is still to come, as `reserveSpace` does.
  [[nodiscard]] int reserve() const;

  /// Appends all `count` bytes. Returns 0 or the errno.
  [[nodiscard]] int write(const char* bytes, std::size_t count);

  /// The length so far.
  [[nodiscard]] std::int64_t length() const;

  /// Waits until what has been written is on the disk, and notes that in the journal.
  void checkpoint();

  /// Gives back the reserved space that was not used.
  void trim();

  /// Removes what there is under the file's name, and the journal.
  void discard();

  /// The end of the names of a partial file and of its journal.
  static constexpr std::string_view kFileEnding = ".part";
  static constexpr std::string_view kJournalEnding = ".journal";
  static constexpr std::string_view kPrefix = ".tq-";

 private:
  PartialFile(const std::filesystem::path& stem, std::string hash);
  [[nodiscard]] bool open(IfMissing ifMissing);
  [[nodiscard]] bool openJournal(IfMissing ifMissing);
  void readJournal();
  [[nodiscard]] int writeJournal(std::int64_t checkpointed) TQ_REQUIRES(mutex_);

  const std::filesystem::path path_;
  const std::filesystem::path journalPath_;
  const std::string hash_;
  FileDescriptor journal_;  // holds the lock
  FileDescriptor file_;
  PartialContent content_;
  std::int64_t usable_ = 0;

  // Invariant: the first `checkpointed_` bytes of the file are of `content_`, as the journal says, and on the
  // disk. Unless `vouches_` no journal that the disk may hold says so of any byte. A checkpoint waits for the
  // disk without the lock; `version_` shows it whether the file was emptied meanwhile. `content_` changes
  // with the lock held.
  mutable Mutex mutex_;
  std::int64_t length_ TQ_GUARDED_BY(mutex_) = 0;
  std::int64_t checkpointed_ TQ_GUARDED_BY(mutex_) = 0;
  bool vouches_ TQ_GUARDED_BY(mutex_) = false;
  int version_ TQ_GUARDED_BY(mutex_) = 0;
};

}  // namespace tq::internal
