#pragma once

/// The whole library. A screen that wants one class includes that class's header instead.

#include "TQFoundation/Extensions/TQPremitiveExtensions.h"
#include "TQFoundation/MediaLoading/TQAVAssetLoader.h"
#include "TQFoundation/MediaLoading/TQDiskSpaceHandler.h"
#include "TQFoundation/MediaLoading/TQFileDownloader.h"
#include "TQFoundation/TQFoundationVersion.h"
