// mdlSupport: the library's registry root, version stamp and debug level.
#pragma once

#include <windows.h>

#include <string>

#include "companion/trace_service.h"

namespace zsupport {

// The registry key of the library's own settings, without a trailing backslash.
std::wstring AppRegRoot(bool bPolicies);

// Version of the library, with the release type of the build.
VersionStampRecord AppVersionStamp();

// Parts of the "Debug Level" setting (eDebugLevels), which is read once per thread.
LONG DebugLevelValue();
LONG DebugTargets();
bool DebugBreakOn();
bool CallStackOn();
LONG DebugAppBits();  // the 19 application-defined bits, shifted down
bool DebugAppBit(LONG Mask);

}  // namespace zsupport
