// Window handles as automation carries them: in a Long.
#pragma once

#include <windows.h>

namespace zsupport {

inline HWND toWindow(LONG handle) { return reinterpret_cast<HWND>(static_cast<ULONG_PTR>(handle)); }
inline LONG toHandle(HWND window) { return static_cast<LONG>(reinterpret_cast<ULONG_PTR>(window)); }

}  // namespace zsupport
