#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "TQFoundation/Platform/Base/NSError.h"

namespace tq::internal {

/// A folder of a fixed name in one of the program's standard folders.
///
///     constexpr StandardFolder kMedias{StandardFolder::In::temporaryDirectory, "CloudMedias"};
///     const auto found = kMedias.find();
///     if (found.state != StandardFolder::State::ours) return fallBack();
///
/// Nothing is cached: each call reads the environment and the file system. Thread-safe except against
/// concurrent setenv().
struct StandardFolder {
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

  In in;
  std::string_view name;

  /// Looks for the folder.
  [[nodiscard]] Found find() const;

  /// Creates the folder where `find` found none, in the application's support folder together with those
  /// above it. One that another thread or process creates meanwhile is no failure.
  [[nodiscard]] std::optional<NSError> create(const std::filesystem::path& wanted) const;

 private:
  [[nodiscard]] std::string place(std::uint32_t user) const;
  [[nodiscard]] State stateOf(const std::string& wanted, std::uint32_t user) const;
};

/// `NSTemporaryDirectory()` of `user`, the effective one, as text. Where it is a path that cannot exist,
/// `error` receives the reason.
[[nodiscard]] std::string temporaryDirectory(std::uint32_t user, std::optional<NSError>* error = nullptr);

}  // namespace tq::internal
