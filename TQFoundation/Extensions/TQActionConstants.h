#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace tq {

/// Keys of an action's parameters: what it works on, and where what it shows points from.
///
/// A key is its case and nothing else; keys of `String` with the same name are another vocabulary, and
/// nothing converts between the two.
enum class TQActionConstants {
  mediaItem,
  navigationController,
  presentingController,
  collection,
  sourceView,
  sourceRect,
  barButtonItem,
  videoURL,
  destination,
  mediaSelectionDelegate,
  showSaveToCameraRoll,
  showApplicationActivities,
  activityType,
  indexPath,
  libraryType,
  mediaType,
  isSelected,
  dataSource,
  editor,
  theme,
  instantAction,
  isLiveScreen,
};

/// Keys of the details that observers of a share receive. Each has a text, for dictionaries keyed by text.
///
///     details[std::string(rawValue(TQShareObserverKeys::fromVC))] = screen;
///     if (const auto key = makeTQShareObserverKeys(text)) handle(*key);
enum class TQShareObserverKeys { mediaSaved, mediaToSave, mediaToEdit, willMoveToStudioAfterSave, fromVC };

/// The texts of `TQShareObserverKeys`, in the order of its cases.
inline constexpr std::array<std::string_view, 5> kShareObserverRawValues = {
    "mediaSaved", "mediaToSave", "mediaToEdit", "willMoveToStudioAfterSave", "fromVC"};

/// The text of `key`. Thread-safe.
[[nodiscard]] constexpr std::string_view rawValue(TQShareObserverKeys key) {
  return kShareObserverRawValues[static_cast<std::size_t>(key)];
}

/// The key whose text is `rawValue`, character for character, or absent. Thread-safe.
[[nodiscard]] constexpr std::optional<TQShareObserverKeys> makeTQShareObserverKeys(
    std::string_view rawValue) {
  const auto found = std::find(kShareObserverRawValues.begin(), kShareObserverRawValues.end(), rawValue);
  if (found == kShareObserverRawValues.end()) return std::nullopt;
  return static_cast<TQShareObserverKeys>(found - kShareObserverRawValues.begin());
}

}  // namespace tq
