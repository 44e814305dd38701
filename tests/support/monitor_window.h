// The monitor in a process of its own, read and worked as programs for accessibility do it: by its
// windows and their messages.
#pragma once

#include <windows.h>

#include <algorithm>
#include <commctrl.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

// Lets messages through, by which calls of other processes come, until something holds or a minute
// is over.
template <class Condition>
bool eventually(Condition&& holds) {
  const ULONGLONG start = GetTickCount64();
  while (!holds()) {
    if (GetTickCount64() - start > 60'000) return false;
    MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
    for (MSG message; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);) DispatchMessageW(&message);
  }
  return true;
}

class Monitor {
 public:
  explicit Monitor(const std::wstring& options, HANDLE output = nullptr) {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder(path);
    folder.resize(folder.find_last_of(L'\\'));
    std::wstring command = L'"' + folder + L"\\..\\monitor\\ZSupportMonitor.exe\" " + options;
    STARTUPINFOW start{};
    start.cb = sizeof start;
    if (output) {
      start.dwFlags = STARTF_USESTDHANDLES;
      start.hStdOutput = start.hStdError = output;
    }
    EXPECT_TRUE(CreateProcessW(nullptr, command.data(), nullptr, nullptr, output != nullptr, 0,
                               nullptr, nullptr, &start, &process_));
  }
  Monitor(const Monitor&) = delete;
  Monitor& operator=(const Monitor&) = delete;
  ~Monitor() {
    if (IsWindow(window_)) PostMessageW(window_, WM_CLOSE, 0, 0);
    if (!hasEnded_) {
      EXPECT_EQ(0u, exitCode());
    }
    CloseHandle(process_.hThread);
    CloseHandle(process_.hProcess);
  }

  // When it has ended; otherwise it is ended, and the answer is STILL_ACTIVE.
  DWORD exitCode() {
    DWORD code = STILL_ACTIVE;
    eventually(
        [&] { return GetExitCodeProcess(process_.hProcess, &code) && code != STILL_ACTIVE; });
    if (code == STILL_ACTIVE) TerminateProcess(process_.hProcess, 1);
    hasEnded_ = true;
    return code;
  }

  HWND window() {
    // It is whole when it waits for input.
    eventually([this] { return window_ || WaitForInputIdle(process_.hProcess, 0) == 0; });
    eventually([this] {
      window_ = find(nullptr, L"ZSupportMonitor");
      int first = 0;
      return window_ && below(window_, WC_LISTVIEWW, first);
    });
    return window_;
  }
  void command(int id) { PostMessageW(window(), WM_COMMAND, static_cast<WPARAM>(id), 0); }

  // A dialog that it shows, by its title.
  HWND dialog(const wchar_t* title) {
    HWND found = nullptr;
    eventually([&] {
      found = find(title, L"#32770");
      return found && IsWindowVisible(found);
    });
    return found;
  }

  // The controls of the view that is shown: the number counts those of a class, from 0.
  HWND control(const wchar_t* type, int number = 0) { return below(window(), type, number); }

  bool hasFocus(HWND control) const {
    GUITHREADINFO info{};
    info.cbSize = sizeof info;
    return GetGUIThreadInfo(process_.dwThreadId, &info) && info.hwndFocus == control;
  }
  std::wstring text(HWND control) const {
    std::wstring text(200'000, L'\0');
    text.resize(static_cast<size_t>(
        SendMessageW(control, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()))));
    return text;
  }
  void type(HWND control, const wchar_t* text) {
    SendMessageW(control, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text));
  }
  std::wstring status(WPARAM part = 0) {
    return read<wchar_t>(control(STATUSCLASSNAMEW), SB_GETTEXTW, part, {});
  }
  bool says(const wchar_t* words, WPARAM part = 0) {
    return eventually([&] { return status(part).find(words) != std::wstring::npos; });
  }

  // The list of rows is the last one.
  HWND list() {
    const HWND first = control(WC_LISTVIEWW), second = control(WC_LISTVIEWW, 1);
    return second ? second : first;
  }
  size_t rows() { return static_cast<size_t>(SendMessageW(list(), LVM_GETITEMCOUNT, 0, 0)); }
  testing::AssertionResult shows(size_t count) {
    if (eventually([&] { return rows() == count; })) return testing::AssertionSuccess();
    testing::AssertionResult failure = testing::AssertionFailure() << rows() << " rows, the last:";
    for (size_t i = rows() - std::min<size_t>(rows(), 8); i < rows(); ++i)
      failure << "\n" << row(i, kMostColumns);
    return failure << "\n" << status();
  }
  std::wstring cell(size_t row, int column) {
    LVITEMW item{};
    item.iSubItem = column;
    item.cchTextMax = kRoom;
    return read<LVITEMW>(list(), LVM_GETITEMTEXTW, row, item);
  }
  // Between bars, from the second one on: the first is the time.
  std::wstring row(size_t row, int columns) {
    std::wstring text;
    for (int i = 1; i < columns; ++i) text += (i > 1 ? L"|" : L"") + cell(row, i);
    return text;
  }
  void choose(HWND list, size_t row) {
    LVITEMW item{};
    item.stateMask = item.state = LVIS_SELECTED | LVIS_FOCUSED;
    read<LVITEMW>(list, LVM_SETITEMSTATE, row, item);
  }

 private:
  static constexpr int kRoom = 1000, kMostColumns = 9;

  HWND find(const wchar_t* title, const wchar_t* type) const {
    for (HWND found = nullptr; (found = FindWindowExW(nullptr, found, type, title)) != nullptr;) {
      DWORD process = 0;
      GetWindowThreadProcessId(found, &process);
      if (process == process_.dwProcessId) return found;
    }
    return nullptr;
  }

  static HWND below(HWND parent, const wchar_t* type, int& number) {
    for (HWND child = GetWindow(parent, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
      wchar_t name[64];
      GetClassNameW(child, name, 64);
      if (!IsWindowVisible(child)) continue;
      if (lstrcmpiW(name, type) == 0 && number-- == 0) return child;
      if (const HWND found = below(child, type, number)) return found;
    }
    return nullptr;
  }

  // Messages with a pointer take it to the memory of the window's own process.
  template <class Given>
  std::wstring read(HWND control, UINT message, WPARAM parameter, Given given) {
    struct Shared {
      Given given;
      wchar_t text[kRoom];
    } shared{given, {}};
    const auto remote = static_cast<Shared*>(
        VirtualAllocEx(process_.hProcess, nullptr, sizeof shared, MEM_COMMIT, PAGE_READWRITE));
    if constexpr (std::is_same_v<Given, LVITEMW>) shared.given.pszText = remote->text;
    WriteProcessMemory(process_.hProcess, remote, &shared, sizeof shared, nullptr);
    const bool isText = std::is_same_v<Given, wchar_t>;
    SendMessageW(control, message, parameter,
                 reinterpret_cast<LPARAM>(isText ? static_cast<void*>(remote->text) : remote));
    ReadProcessMemory(process_.hProcess, remote, &shared, sizeof shared, nullptr);
    VirtualFreeEx(process_.hProcess, remote, 0, MEM_RELEASE);
    return shared.text;
  }

  PROCESS_INFORMATION process_{};
  HWND window_ = nullptr;
  bool hasEnded_ = false;
};
