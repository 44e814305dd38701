#include "main_window.h"

#include <windows.h>

#include <array>
#include <commctrl.h>
#include <iterator>
#include <memory>
#include <shellapi.h>
#include <utility>

#include "controls.h"
#include "events_view.h"
#include "failure.h"
#include "resource.h"
#include "settings_dialog.h"
#include "text.h"
#include "traces_view.h"
#include "version.h"
#include "window_place.h"

namespace monitor {
namespace {

constexpr wchar_t kTitle[] = L"ZSupport Monitor";
constexpr wchar_t kMainClass[] = L"ZSupportMonitor";
constexpr wchar_t kPlaceName[] = L"Window";
constexpr wchar_t kViewName[] = L"View";
constexpr UINT kStart = WM_APP + 1;
constexpr UINT kDpiChanged = 0x02E0;  // WM_DPICHANGED, from Windows 8.1 on

bool isEdit(HWND window) {
  wchar_t name[16];
  return GetClassNameW(window, name, ARRAYSIZE(name)) && lstrcmpiW(name, WC_EDITW) == 0;
}

class MainWindow {
 public:
  explicit MainWindow(const CommandLine& options) : options_(options) {
    WNDCLASSEXW mainClass{};
    mainClass.cbSize = sizeof mainClass;
    mainClass.lpfnWndProc = procedure;
    mainClass.hInstance = GetModuleHandleW(nullptr);
    mainClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    mainClass.hIcon = LoadIconW(mainClass.hInstance, MAKEINTRESOURCEW(IDI_MONITOR));
    mainClass.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
    mainClass.lpszMenuName = MAKEINTRESOURCEW(IDR_MENU);
    mainClass.lpszClassName = kMainClass;
    RegisterClassExW(&mainClass);
    const std::wstring title = options.log.empty() ? kTitle : kTitle + (L" - " + options.log);
    window_ = CreateWindowExW(0, kMainClass, title.c_str(), WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN,
                              CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, nullptr,
                              nullptr, mainClass.hInstance, nullptr);
    if (!window_) throw Failure{L"No window can be opened: " + systemText(GetLastError())};
    SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    status_ = makeControl(window_, STATUSCLASSNAMEW, L"", SBARS_SIZEGRIP);
    tabs_ = makeControl(window_, WC_TABCONTROLW, L"Views", WS_TABSTOP | WS_CLIPSIBLINGS);
    traces_ = std::make_unique<TracesView>(window_, frame_, options.log, options.allPrograms);
    events_ = std::make_unique<EventsView>(window_, frame_);
    for (View* const view : views()) {
      TCITEMW tab{};
      tab.mask = TCIF_TEXT;
      tab.pszText = const_cast<wchar_t*>(view->name());
      TabCtrl_InsertItem(tabs_, TabCtrl_GetItemCount(tabs_), &tab);
      view->restore(memory_.read(columnsName(*view)));
    }
    events_->setIds(options.ids);
    useDpi(dotsPerInch(window_));
  }
  MainWindow(const MainWindow&) = delete;
  MainWindow& operator=(const MainWindow&) = delete;

  void run() {
    const bool showEvents =
        options_.log.empty() && (!options_.objects.empty() || memory_.read(kViewName) == L"1");
    showInPlace(window_, memory_.read(kPlaceName));
    show(showEvents ? *events_ : static_cast<View&>(*traces_));
    PostMessageW(window_, kStart, 0, 0);
    const HACCEL accelerators =
        LoadAcceleratorsW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDR_ACCELERATORS));
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
      if (TranslateAcceleratorW(window_, accelerators, &message)) continue;
      if (IsDialogMessageW(window_, &message)) continue;
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
    // An object in this process may have ended it.
    if (IsWindow(window_)) DestroyWindow(window_);
  }

 private:
  std::array<View*, 2> views() const { return {traces_.get(), events_.get()}; }
  static std::wstring columnsName(const View& view) {
    return std::wstring(L"Columns of ") + view.name();
  }

  static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    const auto self = reinterpret_cast<MainWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (!self || !self->events_) return DefWindowProcW(window, message, wParam, lParam);
    try {
      return self->handle(message, wParam, lParam);
    } catch (...) {
      self->say(failureText());
      return 0;
    }
  }

  LRESULT handle(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
      case kStart:
        watchGiven();
        return 0;
      case WM_COMMAND:
        command(LOWORD(wParam), HIWORD(wParam) == 1);
        return 0;
      case WM_INITMENUPOPUP:
        markMenu(reinterpret_cast<HMENU>(wParam));
        return 0;
      case WM_CONTEXTMENU:
        showContextMenu(reinterpret_cast<HWND>(wParam), lParam);
        return 0;
      case WM_NOTIFY:
        if (reinterpret_cast<NMHDR*>(lParam)->code == TCN_SELCHANGE) {
          show(*views()[static_cast<size_t>(TabCtrl_GetCurSel(tabs_))]);
        }
        return 0;
      case WM_ENDSESSION:
      case WM_CLOSE:
        remember();
        if (message == WM_CLOSE) DestroyWindow(window_);
        return 0;
      case WM_DESTROY:
        traces_->finish();
        PostQuitMessage(0);
        return 0;
      default:
        return handleAppearance(message, wParam, lParam);
    }
  }

  LRESULT handleAppearance(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
      case WM_SIZE:
        place();
        return 0;
      case WM_ACTIVATE:
      case WM_SYSCOMMAND:
        // The control that had the focus has it again when the window comes back.
        if (IsChild(window_, GetFocus())) focused_ = GetFocus();
        return DefWindowProcW(window_, message, wParam, lParam);
      case WM_NEXTDLGCTL:  // what underlined letters send to dialogs
        SetFocus(LOWORD(lParam) ? reinterpret_cast<HWND>(wParam)
                                : GetNextDlgTabItem(window_, GetFocus(), wParam != 0));
        return 0;
      case WM_SETFOCUS:
        if (!shown_) return 0;  // so far there is nothing to give it to
        SetFocus(IsChild(window_, focused_) && IsWindowVisible(focused_) ? focused_
                                                                         : shown_->pane().list());
        return 0;
      case kDpiChanged: {
        const RECT& wanted = *reinterpret_cast<const RECT*>(lParam);
        SetWindowPos(window_, nullptr, wanted.left, wanted.top, wanted.right - wanted.left,
                     wanted.bottom - wanted.top, SWP_NOZORDER | SWP_NOACTIVATE);
        useDpi(HIWORD(wParam));
        return 0;
      }
      case WM_SETTINGCHANGE:
      case WM_SYSCOLORCHANGE:
        for (View* const view : views()) view->pane().systemColoursChanged();
        return 0;
      default:
        return DefWindowProcW(window_, message, wParam, lParam);
    }
  }

  // What the command line names; one that fails does not keep the others away.
  void watchGiven() {
    for (const WatchedObject& object : options_.objects) {
      try {
        events_->watch(object.name, object.isRunning);
        for (const auto& each : object.assignments) events_->set(each.property, each.value);
      } catch (...) {
        events_->note(failureText());
        say(failureText());
      }
    }
  }

  void show(View& view) {
    for (View* const each : views()) ShowWindow(each->window(), each == &view ? SW_SHOW : SW_HIDE);
    shown_ = &view;
    TabCtrl_SetCurSel(tabs_, shown_ == events_.get());
    say(L"");
    tellCounts();
    place();
    if (GetFocus() != tabs_) SetFocus(view.pane().list());
    try {
      view.appear();
    } catch (...) {
      say(failureText());
    }
  }

  void command(int id, bool isKey) {
    // Keys that delete are meant for the text in which they are pressed.
    if (isKey && (id == IDM_REMOVE || id == IDM_REMOVE_ALL) && isEdit(GetFocus())) return;
    View& target = id == IDM_ALL_PROGRAMS ? static_cast<View&>(*traces_)
                   : id == IDM_IDS        ? *events_
                                          : *shown_;
    if (id >= IDM_SORT && id < IDM_SORT + static_cast<int>(shown_->pane().columns().size())) {
      shown_->pane().sortBy(id - IDM_SORT);
    } else if (!target.command(id) && !listCommand(id)) {
      ownCommand(id);
    }
    tellCounts();
  }

  bool listCommand(int id) {
    ListPane& pane = shown_->pane();
    const HWND focus = GetFocus();
    switch (id) {
      case IDM_SAVE:
        save();
        return true;
      case IDM_COPY:
        if (isEdit(focus)) {
          SendMessageW(focus, WM_COPY, 0, 0);
        } else {
          pane.copySelection();
        }
        return true;
      case IDM_SELECT_ALL:
        if (isEdit(focus)) {
          SendMessageW(focus, EM_SETSEL, 0, -1);
        } else {
          pane.selectAll();
        }
        return true;
      case IDM_FILTER:
        pane.focusFilter();
        return true;
      case IDM_CLEAR_LIST:
        pane.clear();
        return true;
      case IDM_HOLD:
        pane.setHeld(!pane.isHeld());
        return true;
      default:
        return false;
    }
  }

  void ownCommand(int id) {
    switch (id) {
      case IDM_EXIT:
        SendMessageW(window_, WM_CLOSE, 0, 0);
        return;
      case IDM_TRACES:
        show(*traces_);
        return;
      case IDM_EVENTS:
        show(*events_);
        return;
      case IDM_NEXT_VIEW:
        show(shown_ == traces_.get() ? static_cast<View&>(*events_) : *traces_);
        return;
      case IDM_SETTINGS:
        if (showSettings(window_)) traces_->settingsChanged();
        return;
      case IDM_REFERENCE:
        openReference();
        return;
      case IDM_ABOUT:
        MessageBoxW(window_, aboutText().c_str(), kTitle, MB_OK | MB_ICONINFORMATION);
        return;
      default:
        return;
    }
  }

  void markMenu(HMENU menu) {
    const auto check = [menu](UINT id, bool isOn) {
      CheckMenuItem(menu, id, isOn ? MF_CHECKED : MF_UNCHECKED);
    };
    check(IDM_TRACES, shown_ == traces_.get());
    check(IDM_EVENTS, shown_ == events_.get());
    check(IDM_HOLD, shown_->pane().isHeld());
    check(IDM_ALL_PROGRAMS, traces_->allPrograms());
    check(IDM_IDS, events_->ids());
    for (UINT id = IDM_WATCH_NEW; id <= IDM_CALL; ++id) {
      EnableMenuItem(menu, id, shown_ == events_.get() ? MF_ENABLED : MF_GRAYED);
    }
    if (GetMenuItemID(menu, 0) != IDM_SORT) return;
    while (DeleteMenu(menu, 0, MF_BYPOSITION)) continue;
    UINT id = IDM_SORT;
    for (const Column& column : shown_->pane().columns())
      AppendMenuW(menu, MF_STRING, id++, column.name);
  }

  // The Edit menu, at the mouse or, for a key, in the list.
  void showContextMenu(HWND list, LPARAM place) {
    if (list != shown_->pane().list()) return;
    POINT point{static_cast<short>(LOWORD(place)), static_cast<short>(HIWORD(place))};
    if (place == -1) {
      point = {};
      ClientToScreen(list, &point);
    }
    TrackPopupMenu(GetSubMenu(GetMenu(window_), 1), TPM_RIGHTBUTTON, point.x, point.y, 0, window_,
                   nullptr);
  }

  void save() {
    const std::wstring path =
        askWhereToSave(window_, L"Text (*.txt)\0*.txt\0Comma-separated values (*.csv)\0*.csv\0",
                       L"txt", L"", true);
    if (path.empty()) return;
    shown_->pane().save(path);
    say(path + L" is saved");
  }

  void openReference() {
    const std::wstring reference = programFolder() + L"reference.html";
    const auto result = reinterpret_cast<INT_PTR>(
        ShellExecuteW(window_, nullptr, reference.c_str(), nullptr, nullptr, SW_SHOWNORMAL));
    if (result <= 32) throw Failure{reference + L" cannot be opened"};
  }

  void place() {
    RECT area;
    GetClientRect(window_, &area);
    SendMessageW(status_, WM_SIZE, 0, 0);
    RECT bar;
    GetWindowRect(status_, &bar);
    area.bottom -= bar.bottom - bar.top;
    const int parts[] = {static_cast<int>(area.right) * 2 / 3, -1};
    SendMessageW(status_, SB_SETPARTS, std::size(parts), reinterpret_cast<LPARAM>(parts));
    placeControl(tabs_, 0, 0, area.right, area.bottom);
    SendMessageW(tabs_, TCM_ADJUSTRECT, FALSE, reinterpret_cast<LPARAM>(&area));
    if (shown_) {
      SetWindowPos(shown_->window(), HWND_TOP, area.left, area.top, area.right - area.left,
                   area.bottom - area.top, SWP_NOACTIVATE);
    }
  }

  void useDpi(int dpi) {
    const HFONT before = std::exchange(font_, makeFont(dpi));
    for (const HWND control : {status_, tabs_}) {
      SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(font_), TRUE);
    }
    for (View* const view : views()) view->setFont(font_, dpi);
    if (before) DeleteObject(before);
    place();
  }

  void say(const std::wstring& text) const {
    const std::wstring line = onOneLine(text.substr(0, 1000));
    SendMessageW(status_, SB_SETTEXTW, 0, reinterpret_cast<LPARAM>(line.c_str()));
  }
  void tellCounts() const {
    const std::wstring counts = shown_->pane().counts();
    SendMessageW(status_, SB_SETTEXTW, 1, reinterpret_cast<LPARAM>(counts.c_str()));
  }

  void remember() {
    memory_.write(kPlaceName, windowPlace(window_));
    memory_.write(kViewName, shown_ == events_.get() ? L"1" : L"0");
    for (View* const view : views()) memory_.write(columnsName(*view), view->state());
  }

  const CommandLine& options_;
  const Frame frame_{[this](const std::wstring& text) { say(text); }, [this] { tellCounts(); }};
  const Memory memory_;
  HWND window_ = nullptr, status_ = nullptr, tabs_ = nullptr;
  HFONT font_ = nullptr;
  HWND focused_ = nullptr;
  View* shown_ = nullptr;
  std::unique_ptr<TracesView> traces_;
  std::unique_ptr<EventsView> events_;
};

}  // namespace

void runWindow(const CommandLine& options) {
  INITCOMMONCONTROLSEX controls{sizeof controls, ICC_LISTVIEW_CLASSES | ICC_TAB_CLASSES |
                                                     ICC_BAR_CLASSES | ICC_STANDARD_CLASSES};
  InitCommonControlsEx(&controls);
  MainWindow(options).run();
}

}  // namespace monitor
