#include "TQFoundation/MediaLoading/TQVideoAssetTable.h"

#include <algorithm>
#include <utility>

namespace tq {

bool TQVideoAssetTable::add(std::shared_ptr<const PHAsset> video) {
  if (!positions_.emplace(video->localIdentifier(), entries_.size()).second) return false;
  entries_.push_back({.video = std::move(video), .asset = nullptr});
  return true;
}

void TQVideoAssetTable::set(const std::string& identifier, std::shared_ptr<AVAsset> asset) {
  auto found = positions_.find(identifier);
  if (found == positions_.end()) {
    add(std::make_shared<const PHAsset>(identifier));
    found = positions_.find(identifier);
  }
  if (!asset) firstCandidate_ = std::min(firstCandidate_, found->second);
  entries_[found->second].asset = std::move(asset);
}

const TQVideoAssetTable::Entry* TQVideoAssetTable::find(std::string_view identifier) const {
  const auto found = positions_.find(identifier);
  return found == positions_.end() ? nullptr : &entries_[found->second];
}

const TQVideoAssetTable::Entry* TQVideoAssetTable::firstNotLoaded() {
  while (firstCandidate_ < entries_.size() && entries_[firstCandidate_].asset) ++firstCandidate_;
  return firstCandidate_ < entries_.size() ? &entries_[firstCandidate_] : nullptr;
}

std::size_t TQVideoAssetTable::countNotLoaded() const {
  const auto notLoaded = [](const Entry& entry) { return entry.asset == nullptr; };
  return static_cast<std::size_t>(std::count_if(entries_.begin(), entries_.end(), notLoaded));
}

}  // namespace tq
