// Where a window stands, as a text to be remembered.
#pragma once

#include <windows.h>

#include <string>

namespace monitor {

std::wstring windowPlace(HWND window);

// Where it stood, as long as a screen is there; else, or with no such text, where the system puts
// it.
void showInPlace(HWND window, const std::wstring& place);

}  // namespace monitor
