#pragma once

#include <cstdint>
#include <memory>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/Guarded.h"
#include "TQFoundation/Platform/Ports/VolumeInfo.h"
#include "TQFoundation/Platform/Queues/RunLoop.h"

namespace tq {

/// The default of the free space that the application wants to keep, in bytes: 300 MiB.
inline constexpr std::int64_t kMinDiskspace = 314'572'800;

/// Returns the bytes that this user can still write on the volume that holds the Documents folder (where that
/// does not exist, its nearest existing parent); 0 if the system does not know. Thread-safe.
[[nodiscard]] TQ_API std::uint64_t getTotalDiskSpaceInBytes(
    const VolumeInfo& volumes = *VolumeInfo::shared());

/// Receives the news that space has become scarce.
class TQ_API TQDiskSpaceHandlerDelegate {
 public:
  virtual ~TQDiskSpaceHandlerDelegate() = default;

  /// The free space is below the handler's minimum. An override returns true, "handled", and monitoring ends
  /// when it returns, one that the override itself has started anew included. The base returns false and
  /// monitoring goes on.
  virtual bool didReachedMinimumDiskSpaceLimit() { return false; }
};

/// What a disk space handler asks of the world.
struct TQDiskSpaceHandlerPorts {
  std::shared_ptr<const VolumeInfo> volumes = VolumeInfo::shared();
  std::shared_ptr<RunLoop> runLoop = nullptr;  ///< Null: that of the thread that starts monitoring.
};

/// Monitors that a device keeps enough free space for video, and checks it now.
///
///     auto handler = TQDiskSpaceHandler::make();
///     if (!handler->hasAvailableFreeSpace()) return showDiskFull();
///     handler->setDelegate(screen);
///     handler->startMonitoringDiskSpace();      // first check after 10 s, on this thread's run loop
///
/// A volume with exactly the minimum satisfies the monitor, but not `hasAvailableFreeSpace`.
///
/// Not thread-safe: one thread at a time. While monitoring, the timer keeps the handler alive; the delegate
/// is called on the thread of the timer's run loop, and may release the handler.
class TQ_API TQDiskSpaceHandler : public std::enable_shared_from_this<TQDiskSpaceHandler> {
 public:
  [[nodiscard]] static std::shared_ptr<TQDiskSpaceHandler> make(TQDiskSpaceHandlerPorts ports = {});
  ~TQDiskSpaceHandler();
  TQDiskSpaceHandler(const TQDiskSpaceHandler&) = delete;
  TQDiskSpaceHandler& operator=(const TQDiskSpaceHandler&) = delete;

  /// The minimum in bytes, at first `kMinDiskspace`. Except in `hasSpaceForCopyingVideo` a negative one is
  /// read as unsigned, and so is more than any disk has.
  [[nodiscard]] std::int64_t minFreeDiskSpaceLimit() const { return minFreeDiskSpaceLimit_; }
  void setMinFreeDiskSpaceLimit(std::int64_t bytes) { minFreeDiskSpaceLimit_ = bytes; }

  [[nodiscard]] std::shared_ptr<TQDiskSpaceHandlerDelegate> delegate() const { return delegate_.get(); }
  void setDelegate(std::weak_ptr<TQDiskSpaceHandlerDelegate> delegate) { delegate_.set(std::move(delegate)); }

  /// A temporary would be gone at once: the delegate is held weakly.
  template <class T>
  void setDelegate(std::shared_ptr<T>&& temporary) = delete;

  /// Returns whether more than `size` bytes are free. A negative size is read as unsigned, so it never is.
  [[nodiscard]] bool isAvailableSpaceMoreThanSize(std::int64_t size) const;

  /// Returns whether more than the minimum is free.
  [[nodiscard]] bool hasAvailableFreeSpace() const;

  /// The same, compared as floating point numbers: true with a negative minimum.
  [[nodiscard]] bool hasSpaceForCopyingVideo() const;

  /// Checks the free space every 10 s, first in 10 s, and calls the delegate once it is below the minimum: at
  /// most once per start. Monitoring that is under way is started over.
  ///
  /// Precondition: the ports name a run loop, or the calling thread has one (`RunLoop::hasCurrent`). Without
  /// it no check would ever come, so the program is aborted with a sentence.
  void startMonitoringDiskSpace();
  void stopMonitoringDiskSpace();

  /// The timer while monitoring runs, else null.
  [[nodiscard]] const std::shared_ptr<Timer>& diskCheckTimer() const { return diskCheckTimer_; }

 private:
  explicit TQDiskSpaceHandler(TQDiskSpaceHandlerPorts ports);
  void diskSpaceCheck();
  [[nodiscard]] std::uint64_t freeBytes() const { return getTotalDiskSpaceInBytes(*ports_.volumes); }

  const TQDiskSpaceHandlerPorts ports_;
  std::int64_t minFreeDiskSpaceLimit_ = kMinDiskspace;
  WeakDelegate<TQDiskSpaceHandlerDelegate> delegate_;
  std::shared_ptr<Timer> diskCheckTimer_;
};

}  // namespace tq
