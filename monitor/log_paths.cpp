#include "log_paths.h"

#include <windows.h>

#include <algorithm>
#include <optional>
#include <shlobj.h>
#include <utility>

#include "debug_settings.h"
#include "failure.h"
#include "handle.h"
#include "text.h"

namespace monitor {
namespace {

constexpr wchar_t kLogBelowData[] = L"\\Zarnow Instruments Ltd\\System\\ZSupport\\ZSupport.log";
constexpr wchar_t kDataBelowProfile[] = L"\\AppData\\Local";

std::wstring knownFolder(int id) {
  wchar_t path[MAX_PATH];
  return SUCCEEDED(SHGetFolderPathW(nullptr, id, nullptr, 0, path)) ? path : std::wstring();
}

// Volume and number; none for what cannot be opened.
std::optional<std::pair<DWORD, ULONGLONG>> identityOf(const std::wstring& path) {
  const Handle file(CreateFileW(path.c_str(), GENERIC_READ,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  BY_HANDLE_FILE_INFORMATION found;
  if (!file || !GetFileInformationByHandle(file.get(), &found)) return {};
  return std::pair(found.dwVolumeSerialNumber,
                   static_cast<ULONGLONG>(found.nFileIndexHigh) << 32 | found.nFileIndexLow);
}

// Each file once, however it is spelt.
class Paths {
 public:
  void add(const std::wstring& path) {
    const std::wstring full = fullPath(path);
    const auto identity = identityOf(full);
    const bool isKnown = std::any_of(paths_.begin(), paths_.end(), [&](const auto& each) {
      return compareFolded(each, full) == 0 || (identity && identityOf(each) == identity);
    });
    if (!isKnown) paths_.push_back(full);
  }
  void addIfReadable(const std::wstring& path) {
    if (canBeRead(path)) add(path);
  }
  std::vector<std::wstring> take() { return std::move(paths_); }

 private:
  std::vector<std::wstring> paths_;
};

bool hasRoot(const std::wstring& path) {
  return path.find_first_of(L"\\/") == 0 || path.find(L':') == 1;
}

// Users whose profiles lie beside this one, and services.
void addOtherProfiles(Paths& paths) {
  const std::wstring profiles = folderOf(knownFolder(CSIDL_PROFILE));
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileW((profiles + L"\\*").c_str(), &found);
  if (!profiles.empty() && search != INVALID_HANDLE_VALUE) {
    do {
      paths.addIfReadable(profiles + L'\\' + found.cFileName + kDataBelowProfile + kLogBelowData);
    } while (FindNextFileW(search, &found));
    FindClose(search);
  }
  paths.addIfReadable(knownFolder(CSIDL_SYSTEM) + L"\\config\\systemprofile" + kDataBelowProfile +
                      kLogBelowData);
  for (const wchar_t* const service : {L"LocalService", L"NetworkService"}) {
    paths.addIfReadable(knownFolder(CSIDL_WINDOWS) + L"\\ServiceProfiles\\" + service +
                        kDataBelowProfile + kLogBelowData);
  }
}

// LogFile settings of users who are logged on, where they say all: an administrator may read them.
void addOtherSettings(Paths& paths) {
  wchar_t user[256], path[MAX_PATH];
  for (DWORD i = 0; RegEnumKeyW(HKEY_USERS, i, user, ARRAYSIZE(user)) == ERROR_SUCCESS; ++i) {
    DWORD size = sizeof path;
    const std::wstring key = std::wstring(user) + L"\\" + kDebugKey;
    if (RegGetValueW(HKEY_USERS, key.c_str(), kLogFileSetting, RRF_RT_REG_SZ, nullptr, path,
                     &size) == ERROR_SUCCESS) {
      paths.addIfReadable(path);
    }
  }
}

// As the library takes it: a path without a root is one below the default path's folder.
void addSetting(const std::wstring& defaultLog, Paths& paths) {
  try {
    const std::wstring setting = DebugSettings().text(kLogFileSetting).value;
    if (!setting.empty())
      paths.add(hasRoot(setting) ? setting : folderOf(defaultLog) + L'\\' + setting);
  } catch (const Failure&) {
    // Without the library there is its default file all the same.
  }
}

}  // namespace

std::vector<std::wstring> libraryLogs() {
  Paths paths;
  const std::wstring defaultLog = knownFolder(CSIDL_LOCAL_APPDATA) + kLogBelowData;
  paths.add(defaultLog);
  addSetting(defaultLog, paths);
  addOtherSettings(paths);
  addOtherProfiles(paths);
  return paths.take();
}

bool canBeRead(const std::wstring& path) { return identityOf(path).has_value(); }

std::wstring fullPath(const std::wstring& path) {
  std::wstring full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
  full.resize(
      GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
  return full.empty() ? path : full;
}

std::wstring folderOf(const std::wstring& path) {
  const size_t end = path.find_last_of(L"\\/");
  if (end == path.npos) return {};
  return end > 0 && path[end - 1] == L':' ? path.substr(0, end + 1) : path.substr(0, end);
}

}  // namespace monitor
