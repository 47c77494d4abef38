#pragma once

/// The whole library. A screen that wants one class includes that class's header instead.

#include "TQFoundation/Extensions/TQAction.h"
#include "TQFoundation/Extensions/TQActionConstants.h"
#include "TQFoundation/Extensions/TQArrayExtensions.h"
#include "TQFoundation/Extensions/TQCalendarExtensions.h"
#include "TQFoundation/Extensions/TQDateExtensions.h"
#include "TQFoundation/Extensions/TQDateFormatterExtensions.h"
#include "TQFoundation/Extensions/TQDurationExtensions.h"
#include "TQFoundation/Extensions/TQGeometryExtensions.h"
#include "TQFoundation/Extensions/TQNotificationNames.h"
#include "TQFoundation/Extensions/TQPremitiveExtensions.h"
#include "TQFoundation/Extensions/TQStringExtensions.h"
#include "TQFoundation/Extensions/TQURLExtensions.h"
#include "TQFoundation/MediaLoading/TQAVAssetLoader.h"
#include "TQFoundation/MediaLoading/TQDiskSpaceHandler.h"
#include "TQFoundation/MediaLoading/TQFileDownloader.h"
#include "TQFoundation/Network/TQNetworkObserver.h"
#include "TQFoundation/Network/TQReachability.h"
#include "TQFoundation/Platform/Core/NSNotificationCenter.h"
#include "TQFoundation/StateMachine/AAPLStateMachine.h"
#include "TQFoundation/TQFoundationVersion.h"
