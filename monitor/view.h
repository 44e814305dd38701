// One of the views: a child window that fills the main one while it is shown.
#pragma once

#include <windows.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "list_pane.h"

namespace monitor {

// What a view asks of the main window.
struct Frame {
  std::function<void(const std::wstring&)> say;  // in the status bar
  std::function<void()> countsChanged;
};

class View {
 public:
  View(HWND parent, const wchar_t* name, const Frame& frame);
  View(const View&) = delete;
  View& operator=(const View&) = delete;
  virtual ~View();

  HWND window() const { return window_; }
  ListPane& pane() { return *pane_; }
  const wchar_t* name() const { return name_; }

  virtual void setFont(HFONT font, int dpi);
  // A command of the menu that is this view's. Throws a Failure.
  virtual bool command(int id) = 0;
  // What is begun when it is shown for the first time. Throws a Failure.
  virtual void appear() {}
  virtual std::wstring state() const { return pane_->state(); }
  virtual void restore(const std::wstring& state) { pane_->restore(state); }

 protected:
  virtual void place(const RECT& area) = 0;
  // Throws a Failure.
  virtual std::optional<LRESULT> handle(UINT, WPARAM, LPARAM) { return {}; }
  // What the list is shown with, besides.
  virtual void shown() {}

  void makePane(std::vector<Column> columns, std::function<std::wstring(const Row&)> whole);
  void addRows(std::vector<Row> rows, size_t lost = 0);
  void say(const std::wstring& text) const { frame_.say(text); }
  int scaled(int pixels) const { return MulDiv(pixels, dpi_, 96); }

 private:
  static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  LRESULT handleAny(UINT message, WPARAM wParam, LPARAM lParam);
  void placeAll();

  const wchar_t* const name_;
  const Frame& frame_;
  HWND window_ = nullptr;
  int dpi_ = 96;
  bool isTimed_ = false;
  std::unique_ptr<ListPane> pane_;
};

}  // namespace monitor
