// Windows of the platform's classes, made, placed and read.
#pragma once

#include <windows.h>

#include <string>

namespace monitor {

// Visible. A label goes right before the control that it names: keyboard and screen readers go by
// it.
HWND makeControl(HWND parent, const wchar_t* className, const wchar_t* text, DWORD style,
                 DWORD extendedStyle = 0, int id = 0);
void placeControl(HWND control, int left, int top, int width, int height);
std::wstring windowText(HWND window);

// Of the monitor that a window is on, where the system knows one for each.
int dotsPerInch(HWND window);
// The one of message boxes, for that many dots per inch.
HFONT makeFont(int dpi);

// The path of a file to write; empty when the person thinks better of it. filter: as the platform
// takes it. ending: for a name that is given without one.
std::wstring askWhereToSave(HWND owner, const wchar_t* filter, const wchar_t* ending,
                            const std::wstring& suggested, bool overwrites);

}  // namespace monitor
