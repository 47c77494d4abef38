#pragma once

#include <any>
#include <concepts>
#include <memory>
#include <unordered_map>

#include "TQFoundation/Extensions/TQActionConstants.h"
#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// The parameters of an action: any value under its key.
using TQActionParameters = std::unordered_map<TQActionConstants, std::any>;

/// Something the user can ask for: share, save, edit ...
///
///     class ShareAction : public TQAction {
///      public:
///       void perform(const TQActionParameters& parameters) override {
///         share(std::any_cast<const MediaItem&>(parameters.at(TQActionConstants::mediaItem)));
///       }
///     };
///
/// The library calls no action: on which thread and how often one is performed is the application's rule.
class TQ_API TQAction {
 public:
  virtual ~TQAction() = default;

  /// Does what the user asked for. `parameters` need not outlive the call.
  virtual void perform(const TQActionParameters& parameters) = 0;
};

/// A type that makes actions by a static operation; no object of it is needed.
///
///     struct ShareActionFactory {
///       static std::unique_ptr<TQAction> makeAction(const TQActionParameters&) { ... }
///     };
///     static_assert(TQActionFactory<ShareActionFactory>);
///
///     template <TQActionFactory Factory>
///     void run(const TQActionParameters& parameters) {
///       if (const auto action = Factory::makeAction(parameters)) action->perform(parameters);
///     }
///
/// A null pointer says that nothing can be done with these parameters.
template <class Factory>
concept TQActionFactory = requires(const TQActionParameters& parameters) {
  { Factory::makeAction(parameters) } -> std::convertible_to<std::unique_ptr<TQAction>>;
};

/// A screen from which editing can begin.
///
///     if (const auto initiator = weakInitiator.lock()) initiator->initiateEdit(parameters);
///
/// Only an object with an identity can be one, so it is shared and never copied.
class TQ_API TQEditInitiatorProtocol {
 public:
  TQEditInitiatorProtocol() = default;
  virtual ~TQEditInitiatorProtocol() = default;
  TQEditInitiatorProtocol(const TQEditInitiatorProtocol&) = delete;
  TQEditInitiatorProtocol& operator=(const TQEditInitiatorProtocol&) = delete;

  /// Begins to edit what `parameters` name. They need not outlive the call.
  virtual void initiateEdit(const TQActionParameters& parameters) = 0;
};

/// The type of objects that run actions. It holds no state and does nothing; the library never makes one.
class TQActionExecuter {
 public:
  TQActionExecuter() = default;
};

}  // namespace tq
