#pragma once

#include "TQFoundation/Platform/Base/Export.h"

extern "C" {
/// The version of the library that is linked, as a number.
TQ_API extern const double TQFoundationVersionNumber;

/// The same for people and for tools that look for it in a binary; ends with a zero byte.
TQ_API extern const char TQFoundationVersionString[];
}
