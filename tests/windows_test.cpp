// Placing and measuring windows: real ones.
#include <cmath>

#include "support/com.h"

namespace {

class Windows : public SupportTest {
 protected:
  ~Windows() override {
    for (const HWND window : made_) DestroyWindow(window);
  }
  // Without a frame: its client area is all of it.
  HWND make(HWND parent, RECT place, DWORD style = WS_VISIBLE) {
    const HWND window = CreateWindowExW(
        0, L"STATIC", L"", style | (parent ? WS_CHILD : WS_POPUP), place.left, place.top,
        place.right - place.left, place.bottom - place.top, parent, nullptr, nullptr, nullptr);
    if (!parent) made_.push_back(window);
    return window;
  }
  // Over its own owner unless another one is given.
  void expectCentred(HWND window, HWND owner, RECT expected, HWND given = nullptr,
                     bool maximize = false) {
    LONG handle = toLong(window), used = toLong(given);
    VARIANT_BOOL maximized = flag(maximize);
    EXPECT_EQ(S_OK, support->CenterWindow(&handle, &used, &maximized));
    EXPECT_EQ(toLong(owner), used);
    RECT place{};
    GetWindowRect(window, &place);
    expectSame(expected, place);
  }
  void expectBox(RECT expected, HWND window) {
    RECT box{7, 7, 7, 7};
    EXPECT_EQ(S_OK, support->BoundingBox(toLong(window), &box));
    expectSame(expected, box);
  }

 private:
  static LONG toLong(HWND window) { return reinterpret_cast<LONG>(window); }
  static void expectSame(RECT expected, RECT found) {
    EXPECT_TRUE(EqualRect(&expected, &found))
        << found.left << " " << found.top << " " << found.right << " " << found.bottom;
  }
  std::vector<HWND> made_;
};

TEST_F(Windows, AreCentredOverTheirOwners) {
  const RECT edges = {10, 20, 1010, 620};
  const HWND parent = make(nullptr, edges);
  const std::tuple<LONG, LONG, LONG, LONG> sizes[] = {
      {200, 100, 400, 250}, {897, 499, 52, 50}, {1101, 603, -50, -2}};
  for (const auto& [width, height, x, y] : sizes) {
    const HWND child = make(parent, {3, 4, 3 + width, 4 + height});
    expectCentred(child, parent, {10 + x, 20 + y, 10 + x + width, 20 + y + height});
    expectCentred(child, parent, edges, nullptr, true);
  }
  const HWND other = make(nullptr, {200, 300, 300, 400}), desktop = GetDesktopWindow();
  const HWND child = make(parent, {0, 0, 50, 20}), free = make(nullptr, {0, 0, 50, 20});
  for (const HWND window : {child, free}) expectCentred(window, other, {225, 340, 275, 360}, other);
  // An owned window counts as a child of its owner, whose client coordinates are then the screen's.
  const HWND owned = make(nullptr, {0, 0, 50, 20});
  SetWindowLongPtrW(owned, GWLP_HWNDPARENT, reinterpret_cast<LONG_PTR>(other));
  expectCentred(owned, other, {25, 40, 75, 60});
  RECT screen;
  GetClientRect(desktop, &screen);
  const LONG x = std::lrint((screen.right - 50) / 2.0), y = std::lrint((screen.bottom - 20) / 2.0);
  expectCentred(free, desktop, {x, y, x + 50, y + 20});
  DestroyWindow(child);
  expectCentred(child, desktop, {});
}

TEST_F(Windows, AreMeasuredByTheVisibleOnesInThem) {
  const HWND parent = make(nullptr, {50, 60, 550, 460}, 0);
  expectBox({-50, -60, -50, -60}, parent);
  const HWND first = make(parent, {10, 20, 40, 50});
  expectBox({10, 20, 40, 50}, parent);
  make(make(parent, {100, 100, 200, 200}, 0), {5, 5, 25, 125});
  expectBox({10, 20, 125, 225}, parent);
  make(first, {-30, 0, 5, 5});
  expectBox({-20, 20, 125, 225}, parent);
  expectBox({}, reinterpret_cast<HWND>(0x7FFFF000));
}

}  // namespace
