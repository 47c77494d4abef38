#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "TQFoundation/Platform/Base/FileDescriptor.h"
#include "TQFoundation/Platform/Base/Guarded.h"
#include "TQFoundation/Platform/Base/NSError.h"

namespace tq {

/// A folder of a fixed name in one of the program's standard folders.
///
///     const StandardFolder medias(StandardFolder::In::temporaryDirectory, "CloudMedias");
///     if (const auto known = medias.known()) return *known;
///     const auto found = medias.find();
///     if (found.state != StandardFolder::State::ours) return fallBack();
///
/// Thread-safe except against concurrent setenv().
class StandardFolder {
 public:
  enum class In { temporaryDirectory, applicationSupport };
  enum class State {
    ours,     ///< A folder of this user's, or a link to one, in a folder of this user's.
    missing,  ///< Nothing is there, or a link to nothing.
    file,     ///< Something is there that is no folder.
    foreign,  ///< Another user has the folder, or the one it lies in.
    nowhere   ///< There is no place for it: this user has no home.
  };
  struct Found {
    State state = State::nowhere;
    std::filesystem::path path = {};  ///< Where it is or should be; empty where it is nowhere.
  };

  StandardFolder(In in, std::string name) : in_(in), name_(std::move(name)) {}

  /// The folder, when it is there and the very one that an earlier `find` or `create` has judged to be ours,
  /// in the same environment. One system call. Null does not mean that it is not there.
  ///
  /// It is looked for from the folder that holds all programs' folders, which is kept open: that shortens the
  /// way. Should that one be moved, or another be mounted in its place, some 60 calls may not notice.
  [[nodiscard]] std::shared_ptr<const std::filesystem::path> known() const;

  /// Looks at the folder and at what it lies in.
  [[nodiscard]] Found find() const;

  /// Creates the folder where `find` has found none, in the application's support folder together with those
  /// above it. One that somebody else has created for this user meanwhile is no failure.
  [[nodiscard]] std::optional<NSError> create(const std::filesystem::path& wanted) const;

 private:
  // The texts that the place depends on, and what told the folder there from all others.
  struct Known {
    std::string environment[2];
    std::filesystem::path path;
    FileDescriptor base;  // of the folder two levels above
    std::string within;   // the way from there
    std::uint64_t device = 0;
    std::uint64_t file = 0;
    std::uint32_t owner = 0;
  };

  [[nodiscard]] std::filesystem::path place() const;
  [[nodiscard]] State judge(const std::filesystem::path& wanted) const;
  [[nodiscard]] bool isStill(const Known& known) const;
  void remember(const std::filesystem::path& path, std::uint64_t device, std::uint64_t file) const;

  const In in_;
  const std::string name_;
  mutable Guarded<std::shared_ptr<const Known>> known_;
  mutable std::atomic<unsigned> calls_ = 0;
};

/// The folder that `NSTemporaryDirectory` is where nothing is in its way.
[[nodiscard]] std::filesystem::path usualTemporaryDirectory();

}  // namespace tq
