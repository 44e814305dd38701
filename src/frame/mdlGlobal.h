// mdlGlobal: the thread's shared GZSupport, through which the frame reads its own settings, and the
// callbacks of window enumerations.
#pragma once

#include <windows.h>

#include <string>

#include "ZSupport.h"
#include "automation/com_ptr.h"

namespace zsupport {

// GZSupport is above the frame; its maker is put in place at start-up.
void setSupportFactory(ComPtr<_GZSupport> (*create)());

// The thread's instance, made on first use; throws.
_GZSupport& SharedSupport();

// Settings under the "\Debug" key of AppRegRoot, policy included.
LONG readDebugLong(const wchar_t* name, LONG preset);
std::wstring readDebugText(const wchar_t* name);

// For EnumChildWindows: grows a RECT, in screen coordinates, by every window that is itself
// visible.
BOOL CALLBACK EnumWindowsForSizeProc(HWND window, LPARAM box);

// For EnumWindows: stops at the first window that has the property (const char*, its name) with the
// value 1, and keeps its handle in the thread's tagged-window result.
BOOL CALLBACK EnumWindowsForTagProc(HWND window, LPARAM propertyName);

}  // namespace zsupport
