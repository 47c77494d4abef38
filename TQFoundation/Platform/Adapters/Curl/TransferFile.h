#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "TQFoundation/Platform/Adapters/Curl/PartialResponse.h"
#include "TQFoundation/Platform/Files/PartialFile.h"
#include "TQFoundation/Platform/Files/TemporaryFile.h"
#include "TQFoundation/Platform/Ports/NSURLSession.h"

namespace tq::internal {

/// A whole body. Its owner moves the file away, or removes it; a partial file is then discarded.
struct FinishedFile {
  std::filesystem::path path = {};
  std::shared_ptr<PartialFile> partial = {};  ///< The file is this one. Null: a temporary file.
};

/// Where the body of a transfer goes: into a temporary file, or into the session's partial file.
///
/// Each `int` is 0 or an errno. Not thread-safe: one thread at a time.
class TransferFile {
 public:
  TransferFile(const NSURLSessionConfiguration& configuration, const URL& url);

  /// Takes the partial file, if the session has one and nobody else owns it. Returns what a request has to
  /// ask for.
  const std::optional<RequestedRest>& claimRest();
  [[nodiscard]] const std::optional<RequestedRest>& rest() const { return rest_; }

  /// From now on the whole file is asked for.
  void forgetRest() { rest_.reset(); }

  /// Makes the temporary file, unless it is there or may not be needed.
  [[nodiscard]] int prepareTemporary();

  /// Opens the file that the body of the response goes into.
  [[nodiscard]] int begin(BodyUse use, const ResponseHead& head);

  /// Takes the space of what is still to come, where the session asks for that and the length is known.
  [[nodiscard]] int reserve(std::int64_t expected);
  [[nodiscard]] bool hasReserved() const { return reserved_; }

  [[nodiscard]] int write(const char* bytes, std::size_t count);
  [[nodiscard]] int finish() { return intoPartial_ ? 0 : temporary_.close(); }
  [[nodiscard]] FinishedFile release();

  /// Ends without a whole body. A temporary file is removed; a partial file stays if there is anything in it.
  void abandon();

  /// The same, and a partial file is of no use.
  void discard();

  /// The error for people of an operation that returned `systemError`.
  [[nodiscard]] NSError error(int systemError) const;

  /// Empty before there is a file.
  [[nodiscard]] const std::filesystem::path& path() const {
    return intoPartial_ ? partial_->path() : temporary_.path();
  }

 private:
  [[nodiscard]] bool startPartial(const ResponseHead& head);
  [[nodiscard]] int openTemporary();
  void dropPartial();

  const std::optional<NSURLSessionConfiguration::Partials> place_;
  const std::filesystem::path destinationFolder_;
  const bool reserves_;
  const std::string key_;
  const std::string source_;  // a hash of the URL, without what a fresh signature changes
  std::shared_ptr<PartialFile> partial_;
  std::optional<RequestedRest> rest_;
  TemporaryFile temporary_;
  bool intoPartial_ = false;
  bool reserved_ = false;
  std::chrono::steady_clock::time_point lastCheckpoint_{};
};

}  // namespace tq::internal
