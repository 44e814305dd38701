#include "text_mode.h"

#include <windows.h>

#include <memory>

#include "event_session.h"
#include "failure.h"
#include "handle.h"
#include "text.h"
#include "trace_record.h"
#include "traces.h"

namespace monitor {
namespace {

// Of the program that started this one, where it has no output of its own.
HANDLE outputOf(DWORD which) {
  HANDLE handle = GetStdHandle(which);
  if (!handle || handle == INVALID_HANDLE_VALUE) {
    AttachConsole(ATTACH_PARENT_PROCESS);
    handle = CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_WRITE, nullptr,
                         OPEN_EXISTING, 0, nullptr);
  }
  return handle;
}

// The columns, between tabs.
std::wstring lineOf(const Row& row, size_t columns) {
  std::wstring line;
  for (size_t i = 0; i < columns; ++i) line += (i ? L"\t" : L"") + onOneLine(row.cell(i));
  return line + L"\n";
}

// Lets messages through, which events come by, until the time is up; calls news each time that the
// event is signalled.
template <class News>
void wait(const CommandLine& options, HANDLE event, News&& news) {
  const ULONGLONG start = GetTickCount64();
  const DWORD handles = event ? 1 : 0;
  for (;;) {
    DWORD patience = INFINITE;
    if (options.seconds) {
      const ULONGLONG end = start + 1000ULL * *options.seconds, time = GetTickCount64();
      if (time > end) return;
      patience = static_cast<DWORD>(end - time) + 1;
    }
    const DWORD signalled =
        MsgWaitForMultipleObjects(handles, &event, FALSE, patience, QS_ALLINPUT);
    if (handles && signalled == WAIT_OBJECT_0) news();
    for (MSG message; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);) DispatchMessageW(&message);
  }
}

int printEvents(const CommandLine& options, const Console& console) {
  EventSession session([&console](const Row& row) { console.out(lineOf(row, kEventClass)); });
  session.setIds(options.ids);
  int exitCode = 0;
  for (const WatchedObject& object : options.objects) {
    try {
      session.watch(object.name, object.isRunning, L"", L"");
      for (const auto& each : object.assignments) {
        session.use(session.items().size(), EventSession::Access::kSet, each.property, each.value);
      }
    } catch (...) {
      console.err(failureText() + L"\n");
      exitCode = 1;
    }
  }
  if (!session.items().empty()) wait(options, nullptr, [] {});
  return exitCode;
}

int printTraces(const CommandLine& options, const Console& console) {
  const Handle news(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  Traces traces([&news] { SetEvent(news.get()); });
  int exitCode = 0;
  const auto print = [&] {
    const Feed::News taken = traces.take();
    std::wstring text;
    for (const Row& row : taken.rows) text += lineOf(row, kLibrary);
    if (!text.empty()) console.out(text);
    if (!taken.status.empty()) console.err(taken.status + L"\n");
  };
  traces.read(options.log);
  traces.setAllPrograms(options.allPrograms);
  traces.waitForFirst();
  print();
  if (!options.log.empty() && GetFileAttributesW(options.log.c_str()) == INVALID_FILE_ATTRIBUTES) {
    console.err(options.log + L" is not there yet\n");
    exitCode = 1;
  }
  wait(options, news.get(), print);
  print();
  return exitCode;
}

}  // namespace

Console::Console() : out_(outputOf(STD_OUTPUT_HANDLE)), err_(outputOf(STD_ERROR_HANDLE)) {}

void Console::write(HANDLE handle, const std::wstring& text) {
  DWORD written = 0, mode;
  if (handle == INVALID_HANDLE_VALUE) {
    MessageBoxW(nullptr, text.c_str(), L"ZSupport Monitor", MB_OK);
  } else if (GetConsoleMode(handle, &mode)) {
    WriteConsoleW(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
  } else {
    const std::string bytes = toUtf8(text);
    WriteFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  }
}

void Console::out(const std::wstring& text) const { write(out_, text); }
void Console::err(const std::wstring& text) const { write(err_, text); }

int runText(const CommandLine& options, const Console& console) {
  return options.objects.empty() ? printTraces(options, console) : printEvents(options, console);
}

}  // namespace monitor
