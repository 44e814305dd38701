// The view of errors and traces.
#pragma once

#include <string>

#include "traces.h"
#include "view.h"

namespace monitor {

class TracesView final : public View {
 public:
  // logFile: the only one to read; empty: the library's.
  TracesView(HWND parent, const Frame& frame, std::wstring logFile, bool allPrograms);

  bool command(int id) override;
  void appear() override;
  bool allPrograms() const { return allPrograms_; }
  // When the window goes: whatever else its end waits for, nobody else waits for its listener.
  void finish() { traces_.finish(); }
  // The library's settings may name another file now.
  void settingsChanged();

 private:
  void place(const RECT& area) override { pane().place(area); }
  std::optional<LRESULT> handle(UINT message, WPARAM wParam, LPARAM lParam) override;
  void read();
  void takeNews();

  const std::wstring logFile_;
  bool allPrograms_;
  bool hasBegun_ = false;
  Traces traces_;
};

// A record with a name before each of its fields, and the road of its source in words.
std::wstring wholeRecord(const Row& row);

}  // namespace monitor
