#include "TQFoundation/MediaLoading/TQDiskSpaceHandler.h"

#include <utility>

#include "TQFoundation/Platform/Base/Thread.h"
#include "TQFoundation/Platform/Folders/Directories.h"
#include "TQFoundation/Platform/Folders/FreeSpace.h"

namespace tq {
namespace {

constexpr std::chrono::seconds kCheckInterval{10};

}  // namespace

std::uint64_t getTotalDiskSpaceInBytes(const VolumeInfo& volumes) {
  return freeBytesAtNearestFolder(userFolder(UserFolder::documents), volumes);
}

std::shared_ptr<TQDiskSpaceHandler> TQDiskSpaceHandler::make(TQDiskSpaceHandlerPorts ports) {
  return std::shared_ptr<TQDiskSpaceHandler>(new TQDiskSpaceHandler(std::move(ports)));
}

TQDiskSpaceHandler::TQDiskSpaceHandler(TQDiskSpaceHandlerPorts ports) : ports_(std::move(ports)) {}

TQDiskSpaceHandler::~TQDiskSpaceHandler() {
  stopMonitoringDiskSpace();
}

bool TQDiskSpaceHandler::isAvailableSpaceMoreThanSize(std::int64_t size) const {
  return freeBytes() > static_cast<std::uint64_t>(size);
}

bool TQDiskSpaceHandler::hasAvailableFreeSpace() const {
  return isAvailableSpaceMoreThanSize(minFreeDiskSpaceLimit_);
}

bool TQDiskSpaceHandler::hasSpaceForCopyingVideo() const {
  return static_cast<double>(freeBytes()) > static_cast<double>(minFreeDiskSpaceLimit_);
}

void TQDiskSpaceHandler::startMonitoringDiskSpace() {
  stopMonitoringDiskSpace();
  if (!ports_.runLoop && !RunLoop::hasCurrent())
    internal::abortForWantOf("no run loop on the thread that starts to monitor free space", 0);
  const auto loop = ports_.runLoop ? ports_.runLoop : RunLoop::current();
  diskCheckTimer_ = loop->schedule(kCheckInterval, RunLoop::Repeats::yes,
                                   [self = shared_from_this()] { self->diskSpaceCheck(); });
}

void TQDiskSpaceHandler::stopMonitoringDiskSpace() {
  if (const auto timer = std::exchange(diskCheckTimer_, nullptr)) timer->invalidate();
}

void TQDiskSpaceHandler::diskSpaceCheck() {
  if (freeBytes() >= static_cast<std::uint64_t>(minFreeDiskSpaceLimit_)) return;
  const auto receiver = delegate();
  if (receiver && receiver->didReachedMinimumDiskSpaceLimit()) stopMonitoringDiskSpace();
}

}  // namespace tq
