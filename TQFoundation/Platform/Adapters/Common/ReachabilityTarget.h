#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/Mutex.h"
#include "TQFoundation/Platform/Ports/SCNetworkReachability.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"

namespace tq {

/// A target whose adapter knows how to read its flags and when they may have changed: what all adapters of
/// `SCNetworkReachability` share.
///
///     class RadioTarget final : public ReachabilityTarget {
///       std::optional<SCNetworkReachabilityFlags> readFlags() override { return radio->flags(); }
///     };
///     auto target = std::make_shared<RadioTarget>();
///     radio->onChange([target] { target->flagsMayHaveChanged(); });
///
/// To be held by a `shared_ptr`: queued callbacks hold it. Thread-safe.
class TQ_API ReachabilityTarget : public SCNetworkReachability,
                                  public std::enable_shared_from_this<ReachabilityTarget> {
 public:
  using Flags = SCNetworkReachabilityFlags;

  [[nodiscard]] std::optional<Flags> getFlags() final;
  [[nodiscard]] bool setCallback(SCNetworkReachabilityCallBack callback,
                                 const SCNetworkReachabilityContext* context) override;
  [[nodiscard]] bool setDispatchQueue(std::shared_ptr<DispatchQueue> queue) override;

  /// Reads the flags, and has the callback called where they differ from those that it has been called with.
  /// A hint: a call too many costs one read.
  void flagsMayHaveChanged() { noteChange(false); }

 protected:
  /// Reads the flags as they are now, on any thread. Must not wait, nor use this target.
  [[nodiscard]] virtual std::optional<Flags> readFlags() = 0;

  /// Has the callback called although nothing has changed.
  void callBackAnyway() { noteChange(true); }

  /// The queue that is set, or null.
  [[nodiscard]] std::shared_ptr<DispatchQueue> queue() const;

  /// Whether a callback or a queue is set.
  [[nodiscard]] bool isRegistered() const;

 private:
  struct Callback {
    SCNetworkReachabilityCallBack function = nullptr;
    SCNetworkReachabilityContext context{};
  };

  [[nodiscard]] bool isDelivering() const;
  void noteChange(bool callsAnyway);
  void deliver(std::uint64_t start, bool callsAnyway);

  // Held while the flags are read and noted, so that they are noted in the order in which they were read.
  // Acquired before `mutex_`; no code of the host's runs under either of them.
  Mutex reading_;

  // Invariant: on `queue_` the flags are `seen_`. They are set with the queue and replaced only by a
  // delivery, which runs on the queue. While `seen_` differs from `noted_`, the flags read last, a delivery
  // is queued. So all that a task on the queue reads agrees, and a change after its first read comes in a
  // later task.
  mutable Mutex mutex_;
  Callback callback_ TQ_GUARDED_BY(mutex_);
  std::shared_ptr<DispatchQueue> queue_ TQ_GUARDED_BY(mutex_);
  std::uint64_t start_ TQ_GUARDED_BY(mutex_) =
      0;  // ordinal of the queue; deliveries of earlier ones are void
  std::optional<Flags> noted_ TQ_GUARDED_BY(mutex_);
  std::optional<Flags> seen_ TQ_GUARDED_BY(mutex_);
};

}  // namespace tq
