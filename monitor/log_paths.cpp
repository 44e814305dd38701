#include "log_paths.h"

#include <windows.h>

#include <algorithm>
#include <optional>
#include <shlobj.h>
#include <utility>

#include "debug_settings.h"
#include "failure.h"
#include "shared_file.h"
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
using FileIdentity = std::optional<std::pair<DWORD, ULONGLONG>>;
FileIdentity identityOf(const std::wstring& path) {
  const Handle file = openShared(path);
  BY_HANDLE_FILE_INFORMATION found;
  if (!file || !GetFileInformationByHandle(file.get(), &found)) return {};
  return std::pair(found.dwVolumeSerialNumber, joined(found.nFileIndexHigh, found.nFileIndexLow));
}

bool hasRoot(const std::wstring& path) {
  return path.find_first_of(L"\\/") == 0 || path.find(L':') == 1;
}

// Users whose profiles lie beside this one, and services.
void addOtherProfiles(std::vector<LogPath>& paths) {
  const std::wstring profiles = folderOf(knownFolder(CSIDL_PROFILE));
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileW((profiles + L"\\*").c_str(), &found);
  if (!profiles.empty() && search != INVALID_HANDLE_VALUE) {
    do {
      paths.push_back(
          {profiles + L'\\' + found.cFileName + kDataBelowProfile + kLogBelowData, true});
    } while (FindNextFileW(search, &found));
    FindClose(search);
  }
  paths.push_back(
      {knownFolder(CSIDL_SYSTEM) + L"\\config\\systemprofile" + kDataBelowProfile + kLogBelowData,
       true});
  for (const wchar_t* const service : {L"LocalService", L"NetworkService"}) {
    paths.push_back({knownFolder(CSIDL_WINDOWS) + L"\\ServiceProfiles\\" + service +
                         kDataBelowProfile + kLogBelowData,
                     true});
  }
}

// LogFile settings of users who are logged on, where they say all: an administrator may read them.
void addOtherSettings(std::vector<LogPath>& paths) {
  wchar_t user[256], path[MAX_PATH];
  for (DWORD i = 0; RegEnumKeyW(HKEY_USERS, i, user, ARRAYSIZE(user)) == ERROR_SUCCESS; ++i) {
    DWORD size = sizeof path;
    const std::wstring key = std::wstring(user) + L"\\" + kDebugKey;
    if (RegGetValueW(HKEY_USERS, key.c_str(), kLogFileSetting, RRF_RT_REG_SZ, nullptr, path,
                     &size) == ERROR_SUCCESS) {
      paths.push_back({path, true});
    }
  }
}

// As the library takes it: a path without a root is one below the default path's folder.
void addSetting(const std::wstring& defaultLog, std::vector<LogPath>& paths) {
  try {
    const std::wstring setting = DebugSettings().text(kLogFileSetting).value;
    if (!setting.empty())
      paths.push_back({hasRoot(setting) ? setting : folderOf(defaultLog) + L'\\' + setting});
  } catch (const Failure&) {
    // Without the library there is its default file all the same.
  }
}

}  // namespace

std::vector<LogPath> libraryLogs() {
  const std::wstring defaultLog = knownFolder(CSIDL_LOCAL_APPDATA) + kLogBelowData;
  std::vector<LogPath> paths{{defaultLog}};
  addSetting(defaultLog, paths);
  addOtherSettings(paths);
  addOtherProfiles(paths);
  return paths;
}

std::vector<std::wstring> distinctLogs(const std::vector<LogPath>& paths) {
  struct Known {
    std::wstring path;
    FileIdentity identity;
  };
  std::vector<Known> known;
  for (const LogPath& each : paths) {
    const std::wstring path = fullPath(each.path);
    const FileIdentity identity = identityOf(path);
    if (each.isOfOthers && !identity) continue;
    const bool isKnown = std::any_of(known.begin(), known.end(), [&](const Known& other) {
      return compareFolded(other.path, path) == 0 || (identity && other.identity == identity);
    });
    if (!isKnown) known.push_back({path, identity});
  }
  std::vector<std::wstring> distinct;
  for (Known& each : known) distinct.push_back(std::move(each.path));
  return distinct;
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
