#include "text_mode.h"

#include <windows.h>

#include <utility>

#include "event_session.h"
#include "failure.h"
#include "handle.h"
#include "log_paths.h"
#include "text.h"
#include "trace_record.h"
#include "traces.h"

namespace monitor {
namespace {

HANDLE outputOf(HANDLE own) {
  if (own && own != INVALID_HANDLE_VALUE) return own;
  return CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_WRITE, nullptr,
                     OPEN_EXISTING, 0, nullptr);
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
void wait(const CommandLine& options, const Console& console, HANDLE event, News&& news) {
  const ULONGLONG start = GetTickCount64();
  const DWORD handles = event ? 1 : 0;
  while (console.isOpen()) {
    DWORD patience = INFINITE;
    if (options.seconds) {
      const ULONGLONG end = start + 1000ULL * *options.seconds, time = GetTickCount64();
      if (time > end) return;
      patience = static_cast<DWORD>(end - time) + 1;
    }
    const DWORD signalled =
        MsgWaitForMultipleObjectsEx(handles, &event, patience, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    if (handles && signalled == WAIT_OBJECT_0) news();
    for (MSG message; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);) DispatchMessageW(&message);
  }
}

int printEvents(const CommandLine& options, Console& console) {
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
  if (!session.items().empty()) wait(options, console, nullptr, [] {});
  return exitCode;
}

// Fails when a log that is named could not be read at all.
int printTraces(const CommandLine& options, Console& console) {
  const Handle news(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  Traces traces([&news] { return SetEvent(news.get()) != FALSE; });
  bool hasPrinted = false;
  const auto print = [&] {
    const Feed::News taken = traces.take();
    std::wstring text;
    for (const Row& row : taken.rows) {
      text += lineOf(row, kLibrary);
      if (text.size() > 0x2000) console.out(std::exchange(text, {}));
    }
    if (!text.empty()) console.out(text);
    hasPrinted = hasPrinted || !taken.rows.empty();
    if (taken.lost) console.err(countText(taken.lost) + L" rows came too fast and are lost\n");
    if (!taken.status.empty()) console.err(taken.status + L"\n");
  };
  traces.setAllPrograms(options.allPrograms);
  traces.read(options.log);
  while (!traces.hasReadFirst() && console.isOpen()) {
    WaitForSingleObject(news.get(), 50);
    print();
  }
  wait(options, console, news.get(), print);
  traces.finish();
  print();
  if (hasPrinted || options.log.empty() || canBeRead(options.log)) return 0;
  console.err(options.log + L" cannot be read\n");
  return 1;
}

}  // namespace

// With the console comes Ctrl+C.
Console::Console() {
  const HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE), err = GetStdHandle(STD_ERROR_HANDLE);
  AttachConsole(ATTACH_PARENT_PROCESS);
  out_ = outputOf(out);
  err_ = outputOf(err);
  isOpen_ = out_ != INVALID_HANDLE_VALUE;
}

void Console::write(HANDLE handle, const std::wstring& text) {
  DWORD written = 0, mode;
  BOOL isDone = FALSE;
  if (GetConsoleMode(handle, &mode)) {
    constexpr size_t kMostAtOnce = 0x2000;  // characters: a console refuses more than 64 KB
    isDone = TRUE;
    for (std::wstring_view rest = text; isDone && !rest.empty();) {
      const std::wstring_view next = rest.substr(0, kMostAtOnce);
      isDone =
          WriteConsoleW(handle, next.data(), static_cast<DWORD>(next.size()), &written, nullptr);
      rest.remove_prefix(next.size());
    }
  } else {
    const std::string bytes = toUtf8(text);
    isDone = WriteFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  }
  if (!isDone && handle == out_) isOpen_ = false;
}

void Console::tell(const std::wstring& text, bool isError) {
  const HANDLE handle = isError ? err_ : out_;
  if (handle != INVALID_HANDLE_VALUE) {
    write(handle, text);
  } else {
    MessageBoxW(nullptr, text.c_str(), L"ZSupport Monitor", isError ? MB_ICONWARNING : MB_OK);
  }
}

int runText(const CommandLine& options, Console& console) {
  if (!console.isOpen()) throw Failure{L"There is no output to print to"};
  return options.objects.empty() ? printTraces(options, console) : printEvents(options, console);
}

}  // namespace monitor
