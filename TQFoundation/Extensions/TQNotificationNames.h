#pragma once

#include "TQFoundation/Platform/Notifications/NSNotification.h"

namespace tq {

/// The names of the notifications between the application's screens and services.
///
///     center->postNotificationName(NotificationName::showStudio);
///     if (name == NotificationName::saveCompleted) closeEditor();
///
/// Posters and observers use the same constant. Names are compared by text, and some texts differ
/// from their constant's name in a capital or in wording: the constant is the only spelling code should know.
/// Of these the library posts `reachabilityChanged` alone, and none carries further values.
///
/// Immutable after construction; share freely. The constants need no initialisation at run time.
namespace NotificationName {

inline constexpr NSNotification::Name shareActivityDidComplete{"ShareActivityDidComplete"};
inline constexpr NSNotification::Name shareActivityDidFail{"ShareActivityDidFail"};
inline constexpr NSNotification::Name userDidRequestShare{"UserDidRequestToPresentShareSheet"};
inline constexpr NSNotification::Name userDidRequestMediaSaveToStudio{"UserDidRequestMediaSaveToStudio"};
inline constexpr NSNotification::Name didCompleteSavingMediaToStudio{"DidCompleteSavingMediaToStudio"};
inline constexpr NSNotification::Name showStudio{"ShowStudio"};
inline constexpr NSNotification::Name userDidRequestToShowLibrary{"UserDidRequestToShowLibrary"};
inline constexpr NSNotification::Name cameraLoadComplete{"cameraLoadComplete"};
inline constexpr NSNotification::Name userDidRequestEntryForEditSection{"UserDidRequestEntryForEditSection"};
inline constexpr NSNotification::Name userDidRequestExitFromLibrary{"UserDidRequestExitFromLibrary"};
inline constexpr NSNotification::Name userDidRequestToShowLibraryFromClipEdit{
    "userDidRequestToShowLibraryFromClipEdit"};
inline constexpr NSNotification::Name videoFecthingCompleteForClipEdit{"videoFecthingCompleteForClipEdit"};
inline constexpr NSNotification::Name prepareCountDownTimer{"prepareCountDownTimer"};
inline constexpr NSNotification::Name addDismissed{"addDismissed"};
inline constexpr NSNotification::Name startSimulatedProgress{"startSimulatedProgress"};
inline constexpr NSNotification::Name simulatedProgressCompleted{"simulatedProgressCompleted"};
inline constexpr NSNotification::Name shouldSetCountDownTimer{"shouldSetCountDownTimer"};
inline constexpr NSNotification::Name saveCompleted{"saveCompleted"};
inline constexpr NSNotification::Name userDidRequestToClearIntermediateLibraryMedias{
    "UserDidRequestToClearIntermediateLibraryMedias"};
inline constexpr NSNotification::Name libraryAllMediaCollectionDidCompleteLoading{
    "LibraryAllMediaCollectionDidCompleteLoading"};
inline constexpr NSNotification::Name userDidRemoveOnboardingOverlay{"UserDidRemoveOnboardingOverlay"};
inline constexpr NSNotification::Name userDidChangeEditInstantFX{"UserDidChangeEditInstantFX"};
inline constexpr NSNotification::Name dataBackUpRequestSent{"dataBackUpRequestSent"};
inline constexpr NSNotification::Name showRatingPopup{"ShowRatingPopup"};
inline constexpr NSNotification::Name showStoreWebView{"ShowStoreWebView"};
inline constexpr NSNotification::Name purchaseCompletionCallback{"PurchaseCompletionCallback"};
inline constexpr NSNotification::Name firebaseCrashLogListener{"FirebaseCrashLogListener"};
inline constexpr NSNotification::Name remoteConfigurationsDidChange{"RemoteConfigurationsDidChange"};
inline constexpr NSNotification::Name didRequestPurchase{"DidRequestPurchase"};
inline constexpr NSNotification::Name promotionsDidUpdate{"InAppProductPromotionsUpdated"};
inline constexpr NSNotification::Name productFetchFromStoreCompleted{"ProductFetchDidCompleteNotification"};
inline constexpr NSNotification::Name productPurchaseCompleted{"ProductPurchaseDidCompletedNotification"};
inline constexpr NSNotification::Name productPurchaseCancelled{"ProductPurchaseDidCancelNotification"};
inline constexpr NSNotification::Name productPurchaseFailed{"ProductPurchaseDidFailNotification"};
inline constexpr NSNotification::Name productRestoreCompleted{"ProductRestoreDidCompletedNotification"};
inline constexpr NSNotification::Name productRestoreFailed{"ProductRestoreDidFailedNotification"};

/// Posted by a `TQReachability`, with itself as the object, when the way to its target has changed.
inline constexpr NSNotification::Name reachabilityChanged{"reachabilityChanged"};

}  // namespace NotificationName

}  // namespace tq
