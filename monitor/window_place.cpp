#include "window_place.h"

#include <sstream>

#include "controls.h"

namespace monitor {
namespace {

constexpr int kWidth = 1000, kHeight = 640;  // at 96 dots per inch
constexpr int kLeast = 100;                  // pixels; less is no window to work with

bool readPlace(const std::wstring& text, RECT& place, bool& isMaximized) {
  std::wistringstream stream(text);
  return (stream >> place.left >> place.top >> place.right >> place.bottom >> isMaximized) &&
         place.right - place.left >= kLeast && place.bottom - place.top >= kLeast &&
         MonitorFromRect(&place, MONITOR_DEFAULTTONULL);
}

}  // namespace

std::wstring windowPlace(HWND window) {
  WINDOWPLACEMENT placement{};
  placement.length = sizeof placement;
  if (!GetWindowPlacement(window, &placement)) return {};
  const RECT& place = placement.rcNormalPosition;
  std::wostringstream text;
  text << place.left << L' ' << place.top << L' ' << place.right << L' ' << place.bottom << L' '
       << (placement.showCmd == SW_SHOWMAXIMIZED);
  return text.str();
}

void showInPlace(HWND window, const std::wstring& place) {
  WINDOWPLACEMENT placement{};
  placement.length = sizeof placement;
  bool isMaximized = false;
  if (readPlace(place, placement.rcNormalPosition, isMaximized)) {
    placement.showCmd = static_cast<UINT>(isMaximized ? SW_SHOWMAXIMIZED : SW_SHOWNORMAL);
    SetWindowPlacement(window, &placement);
    return;
  }
  const int dpi = dotsPerInch(window);
  SetWindowPos(window, nullptr, 0, 0, MulDiv(kWidth, dpi, 96), MulDiv(kHeight, dpi, 96),
               SWP_NOMOVE | SWP_NOZORDER);
  ShowWindow(window, SW_SHOWDEFAULT);
}

}  // namespace monitor
