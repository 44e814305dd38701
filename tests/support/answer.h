// A user who answers message boxes.
#pragma once

#include <windows.h>

#include <string>

// Presses a button of the next message box of this thread, and keeps its text. A box
// without that button stays, and hangs the test.
class Answer {
 public:
  explicit Answer(int button) {
    button_ = button;
    question.clear();
    hook_ = SetWindowsHookExW(WH_CBT, onEvent, nullptr, GetCurrentThreadId());
  }
  Answer(const Answer&) = delete;
  Answer& operator=(const Answer&) = delete;
  ~Answer() { UnhookWindowsHookEx(hook_); }
  static inline std::wstring question;

 private:
  static LRESULT CALLBACK onEvent(int code, WPARAM window, LPARAM data) {
    const auto box = reinterpret_cast<HWND>(window);
    if (code == HCBT_ACTIVATE && GetDlgItem(box, button_)) {
      PostMessageW(box, WM_COMMAND, static_cast<WPARAM>(button_), 0);
    }
    if (code == HCBT_DESTROYWND && question.empty()) {
      constexpr int kLabel = 0xFFFF;
      wchar_t text[512] = L"";
      GetDlgItemTextW(box, kLabel, text, 512);
      question = text;
    }
    return CallNextHookEx(nullptr, code, window, data);
  }
  static inline int button_ = 0;
  HHOOK hook_;
};
