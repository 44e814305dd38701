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
  HWND make(HWND parent, RECT place, bool isVisible = true, bool isPopup = false) {
    const DWORD style = (parent && !isPopup ? WS_CHILD : WS_POPUP) | (isVisible ? WS_VISIBLE : 0);
    const HWND window =
        CreateWindowExW(0, L"STATIC", L"", style, place.left, place.top, place.right - place.left,
                        place.bottom - place.top, parent, nullptr, nullptr, nullptr);
    if (!parent) made_.push_back(window);
    return window;
  }
  LONG centre(HWND window, HWND owner = nullptr, bool maximize = false) {
    LONG handle = toLong(window), used = toLong(owner);
    VARIANT_BOOL maximized = flag(maximize);
    EXPECT_EQ(S_OK, support->CenterWindow(&handle, &used, &maximized));
    return used;
  }
  static LONG toLong(HWND window) { return reinterpret_cast<LONG>(window); }
  static void expectPlace(RECT expected, HWND window) {
    RECT place{};
    GetWindowRect(window, &place);
    expectSame(expected, place);
  }
  static void expectSame(RECT expected, RECT found) {
    EXPECT_TRUE(EqualRect(&expected, &found))
        << found.left << " " << found.top << " " << found.right << " " << found.bottom;
  }
  RECT boundingBox(HWND window) {
    RECT box{7, 7, 7, 7};
    EXPECT_EQ(S_OK, support->BoundingBox(toLong(window), &box));
    return box;
  }

 private:
  std::vector<HWND> made_;
};

TEST_F(Windows, AreCentredOverTheirOwners) {
  const HWND parent = make(nullptr, {10, 20, 1010, 620});
  const std::tuple<LONG, LONG, LONG, LONG> sizes[] = {
      {200, 100, 400, 250}, {897, 499, 52, 50}, {1101, 603, -50, -2}};
  for (const auto& [width, height, x, y] : sizes) {
    const HWND child = make(parent, {3, 4, 3 + width, 4 + height});
    EXPECT_EQ(toLong(parent), centre(child));
    expectPlace({10 + x, 20 + y, 10 + x + width, 20 + y + height}, child);
    EXPECT_EQ(toLong(parent), centre(child, nullptr, true));
    expectPlace({10, 20, 1010, 620}, child);
  }
  const HWND other = make(nullptr, {200, 300, 300, 400});
  const HWND child = make(parent, {0, 0, 50, 20}), free = make(nullptr, {0, 0, 50, 20});
  for (const HWND window : {child, free}) {
    EXPECT_EQ(toLong(other), centre(window, other));
    expectPlace({225, 340, 275, 360}, window);
  }
  // An owned window counts as a child of its owner, whose client coordinates are then the screen's.
  const HWND owned = make(other, {0, 0, 50, 20}, true, true);
  EXPECT_EQ(toLong(other), centre(owned));
  expectPlace({25, 40, 75, 60}, owned);
  RECT desktop;
  GetClientRect(GetDesktopWindow(), &desktop);
  EXPECT_EQ(toLong(GetDesktopWindow()), centre(free));
  const LONG x = std::lrint((desktop.right - 50) / 2.0),
             y = std::lrint((desktop.bottom - 20) / 2.0);
  expectPlace({x, y, x + 50, y + 20}, free);

  const HWND dead = make(nullptr, {0, 0, 9, 9});
  DestroyWindow(dead);
  EXPECT_EQ(toLong(GetDesktopWindow()), centre(dead));
}

TEST_F(Windows, AreMeasuredByTheVisibleOnesInThem) {
  const HWND parent = make(nullptr, {50, 60, 550, 460}, false);
  const auto expectBox = [&](RECT expected) { expectSame(expected, boundingBox(parent)); };
  expectBox({-50, -60, -50, -60});
  const HWND first = make(parent, {10, 20, 40, 50});
  expectBox({10, 20, 40, 50});
  const HWND hidden = make(parent, {100, 100, 200, 200}, false);
  make(hidden, {5, 5, 25, 125});
  expectBox({10, 20, 125, 225});
  make(first, {-30, 0, 5, 5});
  expectBox({-20, 20, 125, 225});
  expectSame({}, boundingBox(reinterpret_cast<HWND>(0x7FFFF000)));
}

}  // namespace
