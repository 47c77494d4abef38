#pragma once

#include <string>
#include <string_view>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Ports/UserSettings.h"
#include "TQFoundation/Platform/Resources/Bundle.h"

namespace tq {

/// Keys of the dictionaries that the application's parts hand each other: what an
/// action works on, the details of a share or a save, what the rating pop-up counts.
///
///     NSNotification::UserInfo details{{String::videoURL, url.absoluteString()}};
///
/// A key's text is what counts; the last four differ from their constant's name. The library itself reads and
/// writes none of them.
namespace String {

inline constexpr std::string_view mediaItem = "mediaItem";
inline constexpr std::string_view navigationController = "navigationController";
inline constexpr std::string_view presentingController = "presentingController";
inline constexpr std::string_view sourceView = "sourceView";
inline constexpr std::string_view sourceRect = "sourceRect";
inline constexpr std::string_view barButtonItem = "barButtonItem";
inline constexpr std::string_view videoURL = "videoURL";
inline constexpr std::string_view showSaveToCameraRoll = "showSaveToCameraRoll";
inline constexpr std::string_view showApplicationActivities = "showApplicationActivities";
inline constexpr std::string_view activityType = "activityType";
inline constexpr std::string_view shouldShowRatingPopUp = "ShouldShowRatingPopUp";
inline constexpr std::string_view ratingPopupDisplayListKey = "RatingPopupDisplayListKey";
inline constexpr std::string_view videoSaveCount = "Total Video Save Count";
inline constexpr std::string_view isRatingAttemptedInPopup = "IsRatingAttemptedInPopup";

}  // namespace String

/// Returns the text of a duration in seconds, as `timeFormattedString(time)` does.
///
///     timeLabelFor(player.duration());    // "01:05"
[[nodiscard]] TQ_API std::string timeLabelFor(
    float time, const UserSettingsSource& settings = *UserSettingsSource::shared());

/// The text for people that stands under `key` in the strings table of `bundle`, in the language that suits
/// this user best.
///
///     title.setText(localized("Save to camera roll"));
///     title.setText(localized("Save to camera roll", hostBundle));       // of a folder the host names
///
/// A key without an entry is its own text, so the key may be the sentence itself. `Bundle` says
/// where the tables lie, how they are written and what becomes of a broken one.
///
/// Thread-safe. The first call of a program reads the main bundle's table.
[[nodiscard]] TQ_API std::string localized(std::string_view key, const Bundle& bundle = Bundle::main());

}  // namespace tq
