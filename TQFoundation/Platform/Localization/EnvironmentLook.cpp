#include "TQFoundation/Platform/Localization/EnvironmentLook.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "TQFoundation/Platform/Localization/UserLocaleName.h"

namespace tq {
namespace {

constexpr std::array<std::string_view, 3> kVariables = {"LC_ALL=", "LC_TIME=", "LANG="};

std::string_view nameUpTo(std::size_t size) {
  return userLocaleName().substr(0, size);
}

}  // namespace

// As long as it stays where it is the array only grows, so what lay within it still does.
bool EnvironmentLook::standsAsItStood() const {
  if (count_ == 0 || environ != entries_ || entries_[count_] != nullptr) return false;
  for (std::size_t i = 0; i < places_.size(); ++i) {
    if (entries_[places_[i]] != watched_[i]) return false;
  }
  return true;
}

bool EnvironmentLook::saysWhatItSaid() {
  if (!taken_ || nameUpTo(name_.size()) != std::string_view(name_.data(), nameSize_)) return false;
  if (!standsAsItStood()) take();
  return true;
}

void EnvironmentLook::take() {
  taken_ = true;
  const std::string_view name = nameUpTo(name_.size());
  nameSize_ = name.copy(name_.data(), name_.size());
  entries_ = environ;
  count_ = 0;
  if (entries_ == nullptr) return;
  while (entries_[count_] != nullptr) ++count_;
  if (count_ == 0) return;
  places_.fill(count_ - 1);
  for (std::size_t place = 0; place < count_; ++place) {
    const auto isHere = [entry = entries_[place]](std::string_view variable) {
      return std::strncmp(entry, variable.data(), variable.size()) == 0;
    };
    const auto* const variable = std::find_if(kVariables.begin(), kVariables.end(), isHere);
    if (variable != kVariables.end())
      places_[static_cast<std::size_t>(variable - kVariables.begin())] = place;
  }
  std::transform(places_.begin(), places_.end(), watched_.begin(),
                 [this](std::size_t place) { return entries_[place]; });
}

}  // namespace tq
