#include "view.h"

#include <utility>

#include "failure.h"

namespace monitor {
namespace {

constexpr wchar_t kViewClass[] = L"ZSupportMonitorView";
constexpr UINT_PTR kShowTimer = 1;
constexpr UINT kShowAfter = 100;  // milliseconds

}  // namespace

View::View(HWND parent, const wchar_t* name, const Frame& frame) : name_(name), frame_(frame) {
  WNDCLASSEXW viewClass{};
  viewClass.cbSize = sizeof viewClass;
  viewClass.lpfnWndProc = procedure;
  viewClass.hInstance = GetModuleHandleW(nullptr);
  viewClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
  viewClass.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
  viewClass.lpszClassName = kViewClass;
  RegisterClassExW(&viewClass);  // or it is already
  window_ = CreateWindowExW(WS_EX_CONTROLPARENT, kViewClass, name,
                            WS_CHILD | WS_CLIPCHILDREN | WS_CLIPSIBLINGS, 0, 0, 0, 0, parent,
                            nullptr, viewClass.hInstance, nullptr);
  SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
}

View::~View() {
  SetWindowLongPtrW(window_, GWLP_USERDATA, 0);
  DestroyWindow(window_);
}

void View::makePane(std::vector<Column> columns, std::function<std::wstring(const Row&)> whole) {
  pane_ = std::make_unique<ListPane>(window_, name_, std::move(columns), std::move(whole));
}

void View::setFont(HFONT font, int dpi) {
  dpi_ = dpi;
  pane_->setFont(font, dpi);
  placeAll();
}

void View::placeAll() {
  RECT area;
  GetClientRect(window_, &area);
  InflateRect(&area, -scaled(6), -scaled(6));
  if (pane_ && area.right > area.left && area.bottom > area.top) place(area);
}

// However many come, the list is painted ten times a second.
void View::addRows(std::vector<Row> rows, size_t lost) {
  if (rows.empty()) return;
  pane_->add(std::move(rows), lost);
  pane_->showWhenDue();
  if (!std::exchange(isTimed_, true)) SetTimer(window_, kShowTimer, kShowAfter, nullptr);
}

LRESULT CALLBACK View::procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  const auto self = reinterpret_cast<View*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (!self || !self->pane_) return DefWindowProcW(window, message, wParam, lParam);
  try {
    return self->handleAny(message, wParam, lParam);
  } catch (...) {
    self->say(failureText());
    return 0;
  }
}

LRESULT View::handleAny(UINT message, WPARAM wParam, LPARAM lParam) {
  if (const std::optional<LRESULT> answer = handle(message, wParam, lParam)) return *answer;
  switch (message) {
    case WM_SIZE:
      placeAll();
      return 0;
    case WM_TIMER:
      KillTimer(window_, kShowTimer);
      isTimed_ = false;
      pane_->show();
      shown();
      frame_.countsChanged();
      return 0;
    case WM_CLOSE:  // what edits send to their parent for Esc
      return 0;
    case WM_NOTIFY:
      if (const auto answer = pane_->notified(reinterpret_cast<NMHDR*>(lParam))) return *answer;
      break;
    case WM_COMMAND:
      if (pane_->commanded(reinterpret_cast<HWND>(lParam), HIWORD(wParam))) {
        frame_.countsChanged();
        return 0;
      }
      break;
    default:
      break;
  }
  return DefWindowProcW(window_, message, wParam, lParam);
}

}  // namespace monitor
