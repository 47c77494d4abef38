#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tq::internal {

/// What a server says that identifies one version of a resource, in the server's own letters.
struct Validator {
  std::string entityTag = {};     ///< With its quotes; a weak one with its "W/". Empty: none.
  std::string lastModified = {};  ///< Only when the version can be told by it. Empty: it cannot.

  friend bool operator==(const Validator&, const Validator&) = default;
};

/// What is being fetched: one version, its whole length, and a hash of where it comes from.
struct PartialContent {
  Validator validator = {};
  std::int64_t total = 0;
  std::string source = {};

  friend bool operator==(const PartialContent&, const PartialContent&) = default;
};

/// What is known of a partial file's bytes.
struct PartialJournal {
  std::string key = {};  ///< The hash of the key.
  PartialContent content = {};
  std::string boot = {};          ///< The boot of the system during which the file was written last.
  std::int64_t checkpointed = 0;  ///< So many bytes are on the disk for certain.

  friend bool operator==(const PartialJournal&, const PartialJournal&) = default;
};

/// The bytes of a journal on the disk. One length for all, so that a later one covers an earlier one whole.
inline constexpr std::size_t kJournalBytes = 1024;

/// Returns the journal's form on the disk, or absent when a text of it is too long or has a control
/// character.
[[nodiscard]] std::optional<std::string> encode(const PartialJournal& journal);

/// Returns the journal that `bytes` hold, or absent unless they are to the letter what `encode` returns for
/// it.
[[nodiscard]] std::optional<PartialJournal> decode(std::string_view bytes);

}  // namespace tq::internal
