// Start-up and size.
#include <cwchar>

#include "late.h"

namespace {

// Nanoseconds, measured by the process itself: its loading is the platform's affair.
double firstIn(const wchar_t* progId) {
  wchar_t path[MAX_PATH];
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  std::wstring command = L"\"" + std::wstring(path) + L"\" first " + progId;
  STARTUPINFOW start = {};
  start.cb = sizeof start;
  PROCESS_INFORMATION process;
  DWORD time = 0;
  if (!CreateProcessW(path, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start,
                      &process)) {
    require(HRESULT_FROM_WIN32(GetLastError()));
  }
  WaitForSingleObject(process.hProcess, INFINITE);
  GetExitCodeProcess(process.hProcess, &time);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return time;
}

double kilobytesOfLibrary() {
  wchar_t path[MAX_PATH];
  WIN32_FILE_ATTRIBUTE_DATA attributes = {};
  GetModuleFileNameW(GetModuleHandleW(L"ZSupport.dll"), path, MAX_PATH);
  GetFileAttributesExW(path, GetFileExInfoStandard, &attributes);
  return attributes.nFileSizeLow / 1024.0;
}

}  // namespace

// The first call of a caller late bound, its question for a name included.
int firstObject(const wchar_t* progId) {
  return static_cast<int>(timeOf({[&] {
                                   auto* const object = create<IDispatch>(progId);
                                   Member(object, L"Count", DISPATCH_PROPERTYGET)({});
                                 }},
                                 1));
}

void benchStartUp(Report& report) {
  report.heading("start-up (microseconds), size (KB)", "Dictionary");
  Pair first = {1e9, 1e9};
  for (int i = 0; i < 8; ++i) {
    first.ours = std::min(first.ours, firstIn(L"ZSupport.Zollection") / 1000);
    first.peer = std::min(first.peer, firstIn(L"Scripting.Dictionary") / 1000);
  }
  report.show("first object and call in a fresh process", first, 2);
  report.show("size of the library, against 450 KB", {kilobytesOfLibrary(), 450}, 1);
}
