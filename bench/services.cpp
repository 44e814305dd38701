// Settings in the registry and the log, beside the calls that they must make.
#include <thread>

#include "late.h"

namespace {

constexpr wchar_t kSection[] = L"Software\\Zarnow Instruments Ltd.\\System\\ZSupport\\Bench";
constexpr wchar_t kPolicy[] =
    L"Software\\Policies\\Zarnow Instruments Ltd.\\System\\ZSupport\\Bench";
constexpr wchar_t kDebug[] = L"Software\\Zarnow Instruments Ltd.\\System\\ZSupport\\Debug";
constexpr int kCalls = 200;

void readPlainly() {
  HKEY key;
  DWORD type = 0, value = 0, size = sizeof value;
  if (RegOpenKeyExW(HKEY_CURRENT_USER, kPolicy, 0, KEY_READ, &key) == ERROR_SUCCESS) {
    RegCloseKey(key);
  }
  if (RegOpenKeyExW(HKEY_CURRENT_USER, kSection, 0, KEY_READ, &key) != ERROR_SUCCESS) return;
  RegQueryValueExW(key, L"Number", nullptr, &type, reinterpret_cast<BYTE*>(&value), &size);
  RegCloseKey(key);
}

// Is it set for the machine? If not, it is written for the user.
void writePlainly(DWORD value) {
  HKEY key;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kSection, 0, KEY_READ, &key) == ERROR_SUCCESS) {
    RegCloseKey(key);
  }
  RegOpenKeyExW(HKEY_CURRENT_USER, kSection, 0, KEY_WRITE, &key);
  RegSetValueExW(key, L"Number", 0, REG_DWORD, reinterpret_cast<BYTE*>(&value), sizeof value);
  RegCloseKey(key);
}

void settings(Report& report) {
  auto* const support = create<_GZSupport>(L"ZSupport.GZSupport");
  BSTR section = SysAllocString(kSection), name = SysAllocString(L"Number");
  BSTR prompt = SysAllocString(L"this");
  VARIANT preset = valueOf(LONG{-1});
  LONG number = 0;
  report.row(
      "WriteRegistryValue", kCalls, {[&] {
        for (int i = 0; i < kCalls; ++i) {
          VARIANT value = valueOf(++number);
          LONG mode = rwm_User;
          require(support->WriteRegistryValue(&name, &value, &preset, &mode, &section, &prompt));
        }
      }},
      {[&] {
        for (int i = 0; i < kCalls; ++i) writePlainly(static_cast<DWORD>(++number));
      }},
      1.15);
  report.row("GetRegistryValue", kCalls, {[&] {
               for (int i = 0; i < kCalls; ++i) {
                 VARIANT value;
                 VARIANT_BOOL noPolicy = VARIANT_FALSE;
                 VariantInit(&value);
                 require(support->GetRegistryValue(&name, &preset, &section, &noPolicy, &value));
                 VariantClear(&value);
               }
             }},
             {[&] {
               for (int i = 0; i < kCalls; ++i) readPlainly();
             }},
             1.15);
  for (const BSTR text : {section, name, prompt}) SysFreeString(text);
  support->Release();
  RegDeleteKeyW(HKEY_CURRENT_USER, kSection);
}

// One line: lock, open, append, close.
void appendPlainly(const std::wstring& path) {
  static const std::string line(250, 'x');
  const HANDLE mutex = CreateMutexW(nullptr, FALSE, L"Global\\ZSupport.Bench");
  WaitForSingleObject(mutex, INFINITE);
  const HANDLE file =
      CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                  OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  DWORD written = 0;
  WriteFile(file, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
  CloseHandle(file);
  ReleaseMutex(mutex);
  CloseHandle(mutex);
}

bool isWritten(const std::wstring& path) {
  WIN32_FILE_ATTRIBUTE_DATA attributes = {};
  return GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &attributes) &&
         attributes.nFileSizeLow > 0;
}

// On a thread of its own, which has raised nothing yet and reads where the log is to go.
void log(Report& report) {
  wchar_t folder[MAX_PATH];
  GetTempPathW(MAX_PATH, folder);
  const std::wstring ours = std::wstring(folder) + L"zsupport-bench.log", peers = ours + L".peer";
  HKEY key;
  RegCreateKeyExW(HKEY_CURRENT_USER, kDebug, 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr);
  RegSetValueExW(key, L"LogFile", 0, REG_SZ, reinterpret_cast<const BYTE*>(ours.c_str()),
                 static_cast<DWORD>((ours.size() + 1) * sizeof(wchar_t)));
  std::thread([&] {
    require(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
    auto* const support = create<_GZSupport>(L"ZSupport.GZSupport");
    BSTR version = SysAllocString(L"1.99999999999999999999");
    report.row("a swallowed error into the log", kCalls, {[&] {
                 VersionStampRecord stamp;
                 for (int i = 0; i < kCalls; ++i) support->VersionStamp(&version, &stamp);
               }},
               {[&] {
                 for (int i = 0; i < kCalls; ++i) appendPlainly(peers);
               }},
               1.3);
    SysFreeString(version);
    support->Release();
    CoUninitialize();
  }).join();
  RegDeleteValueW(key, L"LogFile");
  RegCloseKey(key);
  if (!isWritten(ours)) require(E_UNEXPECTED);
  for (const std::wstring& path : {ours, ours + L".old", peers}) DeleteFileW(path.c_str());
}

}  // namespace

void benchServices(Report& report) {
  // Another process answers these calls, so they are less steady.
  const Work reading = {[] {
    for (int i = 0; i < kCalls; ++i) readPlainly();
  }};
  std::printf("\n");
  report.noise(compare(kCalls, reading, reading).ratio());
  report.heading("services (nanoseconds)", "its calls");
  settings(report);
  log(report);
}
