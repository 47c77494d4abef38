#pragma once

#include <cstddef>
#include <functional>
#include <utility>

#include "TQFoundation/Platform/Notifications/NSNotification.h"

namespace tq {

/// A notification, and the scope of the application's names for them; see `NSNotification::Name`.
class NSNotification : public platform::NSNotification {
 public:
  class Name;

  using platform::NSNotification::NSNotification;
  /// Any notification is one of the application's when it says so. This copies; a handler that takes its
  /// argument as `const auto&` does not.
  // NOLINTNEXTLINE(google-explicit-constructor): nothing changes but the type
  NSNotification(platform::NSNotification notification) noexcept
      : platform::NSNotification(std::move(notification)) {}
};

/// The names by which the application's screens and services tell each other what happened.
///
///     center->postNotificationName(NSNotification::Name::showStudio);
///     if (name == NSNotification::Name::saveCompleted) closeEditor();
///
/// Whoever posts and whoever observes use the same constant. What travels is the text, and some texts differ
/// from their constant's name in a capital or in wording: the constant is the only spelling code should know.
/// The library posts `reachabilityChanged` alone, and none carries further values.
///
/// Immutable after construction; share freely. The constants need no initialisation at run time.
class NSNotification::Name : public platform::NSNotification::Name {
 public:
  using platform::NSNotification::Name::Name;
  /// Any name is one of the application's when it says so.
  // NOLINTNEXTLINE(google-explicit-constructor): nothing changes but the type
  constexpr Name(platform::NSNotification::Name name) noexcept
      : platform::NSNotification::Name(std::move(name)) {}

  static constexpr platform::NSNotification::Name shareActivityDidComplete{"ShareActivityDidComplete"};
  static constexpr platform::NSNotification::Name shareActivityDidFail{"ShareActivityDidFail"};
  static constexpr platform::NSNotification::Name userDidRequestShare{"UserDidRequestToPresentShareSheet"};
  static constexpr platform::NSNotification::Name userDidRequestMediaSaveToStudio{
      "UserDidRequestMediaSaveToStudio"};
  static constexpr platform::NSNotification::Name didCompleteSavingMediaToStudio{
      "DidCompleteSavingMediaToStudio"};
  static constexpr platform::NSNotification::Name showStudio{"ShowStudio"};
  static constexpr platform::NSNotification::Name userDidRequestToShowLibrary{"UserDidRequestToShowLibrary"};
  static constexpr platform::NSNotification::Name cameraLoadComplete{"cameraLoadComplete"};
  static constexpr platform::NSNotification::Name userDidRequestEntryForEditSection{
      "UserDidRequestEntryForEditSection"};
  static constexpr platform::NSNotification::Name userDidRequestExitFromLibrary{
      "UserDidRequestExitFromLibrary"};
  static constexpr platform::NSNotification::Name userDidRequestToShowLibraryFromClipEdit{
      "userDidRequestToShowLibraryFromClipEdit"};
  static constexpr platform::NSNotification::Name videoFecthingCompleteForClipEdit{
      "videoFecthingCompleteForClipEdit"};
  static constexpr platform::NSNotification::Name prepareCountDownTimer{"prepareCountDownTimer"};
  static constexpr platform::NSNotification::Name addDismissed{"addDismissed"};
  static constexpr platform::NSNotification::Name startSimulatedProgress{"startSimulatedProgress"};
  static constexpr platform::NSNotification::Name simulatedProgressCompleted{"simulatedProgressCompleted"};
  static constexpr platform::NSNotification::Name shouldSetCountDownTimer{"shouldSetCountDownTimer"};
  static constexpr platform::NSNotification::Name saveCompleted{"saveCompleted"};
  static constexpr platform::NSNotification::Name userDidRequestToClearIntermediateLibraryMedias{
      "UserDidRequestToClearIntermediateLibraryMedias"};
  static constexpr platform::NSNotification::Name libraryAllMediaCollectionDidCompleteLoading{
      "LibraryAllMediaCollectionDidCompleteLoading"};
  static constexpr platform::NSNotification::Name userDidRemoveOnboardingOverlay{
      "UserDidRemoveOnboardingOverlay"};
  static constexpr platform::NSNotification::Name userDidChangeEditInstantFX{"UserDidChangeEditInstantFX"};
  static constexpr platform::NSNotification::Name dataBackUpRequestSent{"dataBackUpRequestSent"};
  static constexpr platform::NSNotification::Name showRatingPopup{"ShowRatingPopup"};
  static constexpr platform::NSNotification::Name showStoreWebView{"ShowStoreWebView"};
  static constexpr platform::NSNotification::Name purchaseCompletionCallback{"PurchaseCompletionCallback"};
  static constexpr platform::NSNotification::Name firebaseCrashLogListener{"FirebaseCrashLogListener"};
  static constexpr platform::NSNotification::Name remoteConfigurationsDidChange{
      "RemoteConfigurationsDidChange"};
  static constexpr platform::NSNotification::Name didRequestPurchase{"DidRequestPurchase"};
  static constexpr platform::NSNotification::Name promotionsDidUpdate{"InAppProductPromotionsUpdated"};
  static constexpr platform::NSNotification::Name productFetchFromStoreCompleted{
      "ProductFetchDidCompleteNotification"};
  static constexpr platform::NSNotification::Name productPurchaseCompleted{
      "ProductPurchaseDidCompletedNotification"};
  static constexpr platform::NSNotification::Name productPurchaseCancelled{
      "ProductPurchaseDidCancelNotification"};
  static constexpr platform::NSNotification::Name productPurchaseFailed{"ProductPurchaseDidFailNotification"};
  static constexpr platform::NSNotification::Name productRestoreCompleted{
      "ProductRestoreDidCompletedNotification"};
  static constexpr platform::NSNotification::Name productRestoreFailed{"ProductRestoreDidFailedNotification"};

  /// Posted by a `TQReachability`, with itself as the object, when the way to its target has changed.
  static constexpr platform::NSNotification::Name reachabilityChanged{"reachabilityChanged"};
};

}  // namespace tq

template <>
struct std::hash<tq::NSNotification::Name> : std::hash<tq::platform::NSNotification::Name> {};
