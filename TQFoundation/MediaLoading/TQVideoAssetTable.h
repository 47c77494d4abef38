#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Ports/PHImageManager.h"

namespace tq {

/// The distinct videos of a batch in the order they first appeared, each with its asset or still without one.
///
/// Finding a video, and the next one without an asset, costs the same for ten videos as for a hundred
/// thousand.
///
/// Not thread-safe: one thread at a time.
class TQ_API TQVideoAssetTable {
 public:
  struct Entry {
    std::shared_ptr<const PHAsset> video;
    std::shared_ptr<AVAsset> asset;  ///< Null marks a video that is not loaded.
  };

  /// Adds `video`, not loaded. Returns false, and changes nothing, if its identifier has an entry.
  bool add(std::shared_ptr<const PHAsset> video);

  /// Stores the asset of `identifier`, null for "not loaded". Adds an entry if there is none.
  void set(const std::string& identifier, std::shared_ptr<AVAsset> asset);

  /// The entry of `identifier`, or null. Valid until the table changes.
  [[nodiscard]] const Entry* find(std::string_view identifier) const;

  /// The first entry that is not loaded, or null. Valid until the table changes.
  [[nodiscard]] const Entry* firstNotLoaded();

  /// How many entries are not loaded. Looks at all of them.
  [[nodiscard]] std::size_t countNotLoaded() const;

  [[nodiscard]] const std::vector<Entry>& entries() const { return entries_; }

 private:
  std::vector<Entry> entries_;
  std::unordered_map<std::string_view, std::size_t> positions_;  // the keys lie in the videos
  std::size_t firstCandidate_ = 0;                               // every entry before it is loaded
};

}  // namespace tq
