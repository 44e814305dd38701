#include "services.h"

#include <windows.h>
#include <oleauto.h>

#include <cstdio>
#include <string>
#include <thread>

#include "ZSupport.h"
#include "measure.h"

namespace {

constexpr int kRounds = 40, kCalls = 50;
constexpr wchar_t kSection[] = L"Software\\Zarnow Instruments Ltd.\\Bench";
constexpr wchar_t kPolicy[] = L"Software\\Policies\\Zarnow Instruments Ltd.\\Bench";
constexpr wchar_t kDebug[] = L"Software\\Zarnow Instruments Ltd.\\System\\ZSupport\\Debug";
constexpr wchar_t kValue[] = L"a text of some length";

int beyond = 0;

void row(const char* what, double ours, double theirs, double most) {
  std::printf("%-28s %10.0f %10.0f %8.2f  (at most %.2f)\n", what, ours, theirs, ours / theirs,
              most);
  if (ours > theirs * most) beyond = 1;
}

// Each the best of many short rounds, taken in turns: what disturbs one disturbs the other.
void compare(const char* what, double most, const std::function<void()>& ours,
             const std::function<void()>& theirs) {
  double best[2] = {1e18, 1e18};
  for (int round = 0; round < kRounds; ++round) {
    for (int i : {0, 1}) {
      const auto& call = i == 0 ? ours : theirs;
      best[i] = std::min(best[i], measure(
                                      kCalls,
                                      [&] {
                                        for (int n = 0; n < kCalls; ++n) call();
                                      },
                                      [] {}, 1));
    }
  }
  row(what, best[0], best[1], most);
}

VARIANT textOf(BSTR text) {
  VARIANT value;
  V_VT(&value) = VT_BSTR;
  V_BSTR(&value) = text;
  return value;
}

// No policy, and a value of the user's.
void readByHand() {
  HKEY key;
  BYTE data[1024];
  DWORD size = sizeof data, type;
  if (!RegOpenKeyExW(HKEY_CURRENT_USER, kPolicy, 0, KEY_QUERY_VALUE, &key)) RegCloseKey(key);
  RegOpenKeyExW(HKEY_CURRENT_USER, kSection, 0, KEY_QUERY_VALUE, &key);
  RegQueryValueExW(key, L"v", nullptr, &type, data, &size);
  RegCloseKey(key);
}

// No value of the machine's.
void writeByHand() {
  HKEY key;
  if (!RegOpenKeyExW(HKEY_LOCAL_MACHINE, kSection, 0, KEY_QUERY_VALUE, &key)) RegCloseKey(key);
  RegCreateKeyExW(HKEY_CURRENT_USER, kSection, 0, nullptr, 0, KEY_SET_VALUE, nullptr, &key,
                  nullptr);
  RegSetValueExW(key, L"v", 0, REG_SZ, reinterpret_cast<const BYTE*>(kValue), sizeof kValue);
  RegCloseKey(key);
}

void settings(_GZSupport* support) {
  BSTR name = SysAllocString(L"v"), section = SysAllocString(kSection), none = nullptr;
  BSTR text = SysAllocString(kValue);
  VARIANT preset, value = textOf(text), found;
  V_VT(&preset) = VT_EMPTY;
  LONG mode = rwm_User;
  VARIANT_BOOL noPolicySet;
  compare(
      "WriteRegistryValue", 1.15,
      [&] { require(support->WriteRegistryValue(&name, &value, &preset, &mode, &section, &none)); },
      writeByHand);
  compare(
      "GetRegistryValue", 1.15,
      [&] {
        require(support->GetRegistryValue(&name, &preset, &section, &noPolicySet, &found));
        VariantClear(&found);
      },
      readByHand);
  RegDeleteTreeW(HKEY_CURRENT_USER, kSection);
  for (const BSTR each : {name, section, text}) SysFreeString(each);
}

std::wstring temporaryFile(const wchar_t* name) {
  wchar_t folder[MAX_PATH];
  GetTempPathW(MAX_PATH, folder);
  return std::wstring(folder) + name;
}

void appendByHand(const std::wstring& path) {
  const char line[180] = "";
  DWORD written;
  OVERLAPPED place{};
  place.Offset = 0x7FFFFFFF;
  const HANDLE file = CreateFileW(path.c_str(), FILE_APPEND_DATA | FILE_READ_DATA | SYNCHRONIZE,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &place);
  WriteFile(file, line, sizeof line, &written, nullptr);
  UnlockFileEx(file, 0, 1, 0, &place);
  CloseHandle(file);
}

// On a thread that raises no errors.
void swallowedError() {
  const std::wstring ours = temporaryFile(L"zsupport-bench.log");
  const std::wstring theirs = temporaryFile(L"zsupport-bench-by-hand.log");
  RegSetKeyValueW(HKEY_CURRENT_USER, kDebug, L"LogFile", REG_SZ, ours.c_str(),
                  static_cast<DWORD>(ours.size() + 1) * sizeof(wchar_t));
  std::thread([&] {
    require(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
    auto* const support = create<_GZSupport>(L"ZSupport.GZSupport", __uuidof(_GZSupport));
    BSTR text = SysAllocString(L"99999999999.1");
    VersionStampRecord stamp;
    compare(
        "an error that is logged", 1.3, [&] { support->VersionStamp(&text, &stamp); },
        [&] { appendByHand(theirs); });
    SysFreeString(text);
    support->Release();
    CoUninitialize();
  }).join();
  RegDeleteKeyValueW(HKEY_CURRENT_USER, kDebug, L"LogFile");
  if (GetFileAttributesW(ours.c_str()) == INVALID_FILE_ATTRIBUTES) {
    std::puts("nothing was logged");
    beyond = 1;
  }
  for (const std::wstring& file : {ours, ours + L".old", theirs}) DeleteFileW(file.c_str());
}

// In a process of its own, microseconds.
DWORD firstObject(const wchar_t* progId) {
  wchar_t self[MAX_PATH];
  GetModuleFileNameW(nullptr, self, MAX_PATH);
  std::wstring command = L"bench first " + std::wstring(progId);
  STARTUPINFOW start{};
  start.cb = sizeof start;
  PROCESS_INFORMATION process;
  if (!CreateProcessW(self, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start,
                      &process)) {
    require(E_FAIL);
  }
  DWORD taken = MAXDWORD;
  WaitForSingleObject(process.hProcess, INFINITE);
  GetExitCodeProcess(process.hProcess, &taken);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return taken;
}

void firstObjects() {
  DWORD ours = MAXDWORD, theirs = MAXDWORD;
  for (int i = 0; i < 15; ++i) {
    ours = std::min(ours, firstObject(L"ZSupport.Zollection"));
    theirs = std::min(theirs, firstObject(L"Scripting.Dictionary"));
  }
  row("first object of a process", ours * 1000.0, theirs * 1000.0, 2);
}

}  // namespace

int timeFirstObject(const wchar_t* progId) {
  require(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
  LARGE_INTEGER frequency, start, end;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&start);
  IDispatch* const object = create<IDispatch>(progId, IID_IDispatch);
  QueryPerformanceCounter(&end);
  object->Release();
  CoUninitialize();
  return static_cast<int>((end.QuadPart - start.QuadPart) * 1'000'000 / frequency.QuadPart);
}

int benchServices() {
  std::printf("\n%-28s %10s %10s %8s\n", "nanoseconds", "ours", "must make", "ratio");
  auto* const support = create<_GZSupport>(L"ZSupport.GZSupport", __uuidof(_GZSupport));
  settings(support);
  support->Release();
  swallowedError();
  firstObjects();
  return beyond;
}
