// GZSupport: placing and measuring windows.
#include <windows.h>

#include "automation/error.h"
#include "automation/runtime_rules.h"
#include "frame/mdlGlobal.h"
#include "support/gzsupport.h"
#include "support/member.h"
#include "support/window_handles.h"

namespace zsupport {
namespace {

struct Size {
  LONG width;
  LONG height;
};

Size sizeOf(const RECT& edges) {
  return {subtractChecked(edges.right, edges.left), subtractChecked(edges.bottom, edges.top)};
}

// Where something begins that lies in the middle of something else.
LONG centred(LONG inner, LONG outer) {
  return toWholeNumber((static_cast<double>(outer) - static_cast<double>(inner)) / 2);
}

HWND ownerOf(HWND window) {
  const HWND parent = GetParent(window);
  return parent ? parent : GetDesktopWindow();
}

// A window that is none leaves its rectangle empty.
void centre(HWND window, HWND owner, bool maximize) {
  const HWND parent = GetParent(window);
  RECT ownerEdges{}, edges{};
  GetClientRect(owner, &ownerEdges);
  if (maximize) {
    edges = ownerEdges;
  } else {
    GetWindowRect(window, &edges);
  }
  const Size outer = sizeOf(ownerEdges), inner = sizeOf(edges);
  POINT place = {centred(inner.width, outer.width), centred(inner.height, outer.height)};
  if (owner != parent) {
    ClientToScreen(owner, &place);
    ScreenToClient(parent, &place);
  }
  MoveWindow(window, place.x, place.y, inner.width, inner.height, TRUE);
}

}  // namespace

HRESULT GZSupportObject::CenterWindow(LONG* window, LONG* owner, VARIANT_BOOL* maximize) {
  return kSupport.run(L"Sub CenterWindow", {window, owner, maximize}, [&] {
    const HWND moved = toWindow(*window);
    if (*owner == 0) *owner = toHandle(ownerOf(moved));
    centre(moved, toWindow(*owner), *maximize);
  });
}

HRESULT GZSupportObject::BoundingBox(LONG window, RECT* box) {
  return kSupport.give(L"Function BoundingBox", {}, box, [&] {
    RECT edges{};
    EnumChildWindows(toWindow(window), EnumWindowsForSizeProc, reinterpret_cast<LPARAM>(&edges));
    POINT corners[] = {{edges.left, edges.top}, {edges.right, edges.bottom}};
    for (POINT& corner : corners) ScreenToClient(toWindow(window), &corner);
    return RECT{corners[0].x, corners[0].y, corners[1].x, corners[1].y};
  });
}

}  // namespace zsupport
