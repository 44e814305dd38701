#include "traces_view.h"

#include <utility>

#include "log_paths.h"
#include "resource.h"
#include "trace_record.h"

namespace monitor {
namespace {

constexpr UINT kNews = WM_APP + 1;

}  // namespace

std::wstring wholeRecord(const Row& row) {
  struct Field {
    const wchar_t* name;
    TraceCell cell;
  };
  static constexpr Field fields[] = {
      {L"Description", kDescription},
      {L"Number", kNumber},
      {L"Source", kSource},

      {L"Class", kClass},
      {L"Procedure", kProcedure},
      {L"Time", kTime},
      {L"Program", kProgram},
      {L"Process", kProcess},
      {L"Thread", kThread},
      {L"Library", kLibrary},
      {L"Context", kContext},
  };
  std::wstring text;
  for (const Field& field : fields) {
    const std::wstring_view cell = row.cell(field.cell);
    if (!cell.empty()) text += std::wstring(field.name) + L": " + std::wstring(cell) + L"\r\n";
    if (field.cell == kSource && !cell.empty())
      text += L"Road: " + std::wstring(roadOf(cell)) + L"\r\n";
  }
  return text + L"Read from: " + (row.origin() ? *row.origin() : L"debug output") + L"\r\n";
}

TracesView::TracesView(HWND parent, const Frame& frame, std::wstring logFile, bool allPrograms)
    : View(parent, L"Errors and traces", frame),
      logFile_(std::move(logFile)),
      allPrograms_(allPrograms),
      traces_([window = window()] { return PostMessageW(window, kNews, 0, 0) != FALSE; }) {
  makePane({{L"Time", 140},
            {L"Program", 90},
            {L"Process", 50},
            {L"Thread", 50},
            {L"Class", 75},
            {L"Procedure", 120},
            {L"Number", 80},
            {L"Source", 150},
            {L"Description", 320}},
           wholeRecord);
  traces_.setAllPrograms(allPrograms);
}

void TracesView::appear() {
  if (!std::exchange(hasBegun_, true)) read();
}

// What came by the debug output cannot be had again.
void TracesView::read() {
  takeNews();
  pane().removeIf([](const Row& row) { return row.origin() != nullptr; });
  traces_.read(logFile_);
  pane().forEach([this](const Row& row) { traces_.expectTwinOf(row); });
}

void TracesView::settingsChanged() {
  if (hasBegun_ && logFile_.empty() && traces_.paths() != libraryLogs()) read();
}

bool TracesView::command(int id) {
  switch (id) {
    case IDM_READ_AGAIN:
      read();
      return true;
    case IDM_ALL_PROGRAMS:
      allPrograms_ = !allPrograms_;
      traces_.setAllPrograms(allPrograms_);
      return true;
    default:
      return false;
  }
}

std::optional<LRESULT> TracesView::handle(UINT message, WPARAM, LPARAM) {
  if (message != kNews) return {};
  takeNews();
  return 0;
}

void TracesView::takeNews() {
  Feed::News news = traces_.take();
  if (!news.status.empty()) say(news.status);
  addRows(std::move(news.rows), news.lost);
}

}  // namespace monitor
