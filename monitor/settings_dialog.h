// The library's own settings as boxes to tick.
#pragma once

#include <windows.h>

namespace monitor {

// True when something has been written. Throws a Failure without the library.
bool showSettings(HWND owner);

}  // namespace monitor
