// mdlSupport: the library's registry root and version stamp.
#pragma once

#include <string>

#include "companion/trace_service.h"

namespace zsupport {

// The registry key of the library's own settings, without a trailing backslash.
std::wstring AppRegRoot(bool bPolicies);

// Version of the library, with the release type of the build.
VersionStamp AppVersionStamp();

}  // namespace zsupport
