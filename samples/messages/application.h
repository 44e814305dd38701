// What both programs of this sample are: an application with a tagged window, by which others find
// it, that takes texts and numbers and sends them.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

#include "ZSupport.h"

class Application {
 public:
  // Others find it under its name. It prints what it does behind that name.
  explicit Application(const wchar_t* name);
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;
  ~Application();

  // Called while the sender waits; it may send in turn.
  std::function<void(LONG number, const std::string& text)> onMessage;

  // The window of another application, in a Long as automation has it; 0 when it does not appear in
  // time.
  LONG find(const wchar_t* name, DWORD milliseconds) const;
  // Texts travel in the system's code page.
  void send(LONG window, LONG number, const std::wstring& text) const;
  void print(const std::string& line) const;

 private:
  static LRESULT CALLBACK onWindowMessage(HWND window, UINT message, WPARAM first, LPARAM second);

  const std::wstring name_;
  const std::wstring tag_;
  HWND window_ = nullptr;
  _GZSupport* support_ = nullptr;
};
