#include "controls.h"

#include <commctrl.h>
#include <commdlg.h>

namespace monitor {
namespace {

// A function that only later systems have.
template <class Function>
Function* laterFunction(const char* name) {
  return reinterpret_cast<Function*>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"user32.dll"), name)));
}

}  // namespace

HWND makeControl(HWND parent, const wchar_t* className, const wchar_t* text, DWORD style,
                 DWORD extendedStyle, int id) {
  return CreateWindowExW(extendedStyle, className, text, WS_CHILD | WS_VISIBLE | style, 0, 0, 0, 0,
                         parent, reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)),
                         GetModuleHandleW(nullptr), nullptr);
}

void placeControl(HWND control, int left, int top, int width, int height) {
  SetWindowPos(control, nullptr, left, top, width, height, SWP_NOZORDER | SWP_NOACTIVATE);
}

std::wstring windowText(HWND window) {
  std::wstring text(static_cast<size_t>(GetWindowTextLengthW(window)) + 1, L'\0');
  text.resize(
      static_cast<size_t>(GetWindowTextW(window, text.data(), static_cast<int>(text.size()))));
  return text;
}

int dotsPerInch(HWND window) {
  static const auto ofWindow = laterFunction<UINT WINAPI(HWND)>("GetDpiForWindow");
  if (const UINT dpi = ofWindow ? ofWindow(window) : 0) return static_cast<int>(dpi);
  const HDC screen = GetDC(nullptr);
  const int dpi = GetDeviceCaps(screen, LOGPIXELSY);
  ReleaseDC(nullptr, screen);
  return dpi > 0 ? dpi : 96;
}

HFONT makeFont(int dpi) {
  NONCLIENTMETRICSW metrics{};
  metrics.cbSize = sizeof metrics;
  SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
  LOGFONTW font = metrics.lfMessageFont;
  // The metrics are the primary monitor's.
  font.lfHeight = MulDiv(font.lfHeight, dpi, dotsPerInch(nullptr));
  return CreateFontIndirectW(&font);
}

std::wstring askWhereToSave(HWND owner, const wchar_t* filter, const wchar_t* ending,
                            const std::wstring& suggested, bool overwrites) {
  wchar_t path[MAX_PATH];
  lstrcpynW(path, suggested.c_str(), ARRAYSIZE(path));
  OPENFILENAMEW request{};
  request.lStructSize = sizeof request;
  request.hwndOwner = owner;
  request.lpstrFilter = filter;
  request.lpstrFile = path;
  request.nMaxFile = ARRAYSIZE(path);
  request.lpstrDefExt = ending;
  request.Flags = OFN_HIDEREADONLY | OFN_NOCHANGEDIR | OFN_PATHMUSTEXIST;
  if (overwrites) request.Flags |= OFN_OVERWRITEPROMPT;
  return GetSaveFileNameW(&request) ? path : std::wstring();
}

}  // namespace monitor
