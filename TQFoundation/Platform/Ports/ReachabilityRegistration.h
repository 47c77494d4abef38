#pragma once

#include <memory>

#include "TQFoundation/Platform/Ports/SCNetworkReachability.h"

namespace tq {

/// The callback of a target and its context, whose `info` is retained for as long as anybody may still make
/// the call.
class ReachabilityRegistration {
 public:
  /// Null where there is no callback. To be let go of without a lock: that may call the context's `release`.
  [[nodiscard]] static std::shared_ptr<const ReachabilityRegistration> make(
      SCNetworkReachabilityCallBack callback, const SCNetworkReachabilityContext* context) {
    if (callback == nullptr) return nullptr;
    return std::make_shared<const ReachabilityRegistration>(
        callback, context == nullptr ? SCNetworkReachabilityContext{} : *context);
  }

  ReachabilityRegistration(SCNetworkReachabilityCallBack callback,
                           const SCNetworkReachabilityContext& context)
      : callback_(callback), context_(context) {
    if (context_.retain != nullptr) context_.retain(context_.info);
  }
  ~ReachabilityRegistration() {
    if (context_.release != nullptr) context_.release(context_.info);
  }
  ReachabilityRegistration(const ReachabilityRegistration&) = delete;
  ReachabilityRegistration& operator=(const ReachabilityRegistration&) = delete;

  void call(const SCNetworkReachabilityRef& target, SCNetworkReachabilityFlags flags) const {
    callback_(target, flags, context_.info);
  }

 private:
  const SCNetworkReachabilityCallBack callback_;
  const SCNetworkReachabilityContext context_;
};

}  // namespace tq
