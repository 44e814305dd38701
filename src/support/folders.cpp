// GZSupport: folders of the shell, temporary files, and folders that are made on request.
#include <windows.h>
#include <shlwapi.h>

#include <shlobj.h>
#include <string>
#include <vector>

#include "automation/ansi.h"
#include "automation/error.h"
#include "automation/system_library.h"
#include "support/gzsupport.h"
#include "support/member.h"

namespace zsupport {
namespace {

constexpr wchar_t kSeparator = L'\\';
constexpr size_t kServerAndShare = 4;   // parts of \\server\share that are no folders
constexpr size_t kTempNameLength = 14;  // what the platform needs for the name behind the folder

constinit SystemLibrary shell(L"shell32.dll");
constinit SystemLibrary shellPaths(L"shlwapi.dll");

std::wstring untilZero(std::string_view ansi) { return fromAnsi(ansi.substr(0, ansi.find('\0'))); }

// Whether the platform is asked for this name: what the code page lacks would turn into a pattern
// or another name, and what stands behind a zero would be cut off.
bool hasAnsiForm(std::wstring_view name) {
  return name.find(L'\0') == std::wstring_view::npos && fromAnsi(toAnsi(name)) == name;
}

// Finds others, and makes nothing.
bool isPattern(std::wstring_view name) {
  return name.find_first_of(L"*?") != std::wstring_view::npos;
}

std::wstring shellFolder(LONG folder, std::wstring_view subfolder) {
  char path[MAX_PATH] = {};
  const auto& getFolder = shell.get<decltype(SHGetFolderPathA)>("SHGetFolderPathA");
  if (getFolder(nullptr, folder, nullptr, SHGFP_TYPE_CURRENT, path) != S_OK) return {};
  const auto& append = shellPaths.get<decltype(PathAppendA)>("PathAppendA");
  if (!subfolder.empty() && (!hasAnsiForm(subfolder) || !append(path, toAnsi(subfolder).c_str()))) {
    return {};
  }
  return untilZero({path, sizeof path});
}

// An empty text becomes a lone separator: deliberate.
std::wstring AddBackslash(std::wstring text) {
  return framed(kSupport.procedure(L"Function AddBackslash"), [&] {
    if (!text.ends_with(kSeparator)) text += kSeparator;
    return text;
  });
}

std::wstring temporaryFolder() {
  const DWORD size = GetTempPathA(0, nullptr);
  if (size > SHRT_MAX) throw makeError(runtime::kOverflow);
  if (size == 0) throw makeError(runtime::kInvalidCall);
  std::string folder(size, ' ');
  GetTempPathA(size, folder.data());
  folder.pop_back();
  return AddBackslash(fromAnsi(folder));
}

std::wstring newTemporaryFile(const std::string& folder, const std::string& prefix) {
  constexpr size_t kRoom = 256;
  std::string path(folder.size() + kRoom, ' ');
  // The platform has room for no longer folder, and not every version of it looks.
  if (folder.size() <= MAX_PATH - kTempNameLength) {
    GetTempFileNameA(folder.c_str(), prefix.c_str(), 0, path.data());
  }
  if (path.find('\0') == std::string::npos) throw makeError(runtime::kInvalidCall);
  return untilZero(path);
}

// Whether a folder is listed by those who ask for the given attributes.
bool isListed(const std::string& path, DWORD attributes) {
  constexpr DWORD kConcealing = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
  WIN32_FIND_DATAA entry;
  const HANDLE search = FindFirstFileA(path.c_str(), &entry);
  if (search == INVALID_HANDLE_VALUE) return false;
  bool found = false;
  do {
    found = (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) &&
            !(entry.dwFileAttributes & kConcealing & ~attributes);
  } while (!found && FindNextFileA(search, &entry));
  FindClose(search);
  return found;
}

// A path that ends in a separator is looked for by what is in that folder.
void makeFolderUnlessListed(std::wstring_view path) {
  const std::string folder = toAnsi(path);
  const std::string search = path.ends_with(kSeparator) ? folder + '*' : folder;
  const bool exists = isListed(search, 0) || isListed(search, FILE_ATTRIBUTE_HIDDEN) ||
                      isListed(search, FILE_ATTRIBUTE_SYSTEM);
  if (!exists && !CreateDirectoryA(folder.c_str(), nullptr)) throw fileError();
}

// The first part (a drive, nothing, or a relative path's first name) is never made, nor are a
// server and its share.
void makeFolders(std::wstring_view path) {
  bool isNetworkName = false;
  size_t end = path.find(kSeparator);
  for (size_t number = 1; end != std::wstring_view::npos; ++number) {
    const size_t start = end + 1;
    end = path.find(kSeparator, start);
    const std::wstring_view part = path.substr(start, end - start);
    if (number == 1) isNetworkName = part.empty();
    if (part.find(L':') != std::wstring_view::npos) continue;
    if (isNetworkName && number < kServerAndShare) continue;
    const std::wstring_view folder = path.substr(0, end);
    if (isPattern(part) || !hasAnsiForm(folder)) throw makeError(runtime::kBadFileName);
    makeFolderUnlessListed(folder);
  }
}

// A folder without flags and subfolder, through the object's own interface.
HRESULT returnFolder(_GZSupport& support, const wchar_t* procName, LONG folder, BSTR* path) {
  return kSupport.give(procName, {}, path, [&] {
    Text result;
    checkCall(support.GetFolderPath(&folder, nullptr, result.inout()));
    return result;
  });
}

}  // namespace

HRESULT GZSupportObject::GetFolderPath(LONG* folder, BSTR subfolder, BSTR* path) {
  return kSupport.give(L"Function GetFolderPath", {folder}, path, [&] {
    const std::wstring_view below = viewOf(subfolder);
    Text result(shellFolder(*folder, below));
    if (!below.empty() && (*folder & CSIDL_FLAG_CREATE) && !result.view().empty()) {
      VARIANT_BOOL exists;
      checkCall(EnsureDirExists(result.inout(), &exists));
    }
    return result;
  });
}

HRESULT GZSupportObject::GetMyDocumentsPath(BSTR* path) {
  return returnFolder(*this, L"Function GetMyDocumentsPath", CSIDL_PERSONAL, path);
}

HRESULT GZSupportObject::GetAppDataPath(BSTR* path) {
  return returnFolder(*this, L"Function GetAppDataPath", CSIDL_APPDATA, path);
}

HRESULT GZSupportObject::GetCommonAppDataPath(BSTR* path) {
  return returnFolder(*this, L"Function GetCommonAppDataPath", CSIDL_COMMON_APPDATA, path);
}

// Not the member's own name: deliberate.
HRESULT GZSupportObject::GetTempPath(BSTR* path) {
  return kSupport.give(L"Function GetTempPathing", {}, path, temporaryFolder);
}

HRESULT GZSupportObject::GetTempFileName2(BSTR* folder, BSTR* prefix, BSTR* path) {
  return kSupport.give(L"Function GetTempFileName2", {folder, prefix}, path, [&] {
    if (viewOf(*folder).empty()) {
      Text temporary;
      checkCall(GetTempPath(temporary.inout()));
      std::swap(*folder, *temporary.inout());
    }
    return newTemporaryFile(toAnsi(viewOf(*folder)), toAnsi(viewOf(*prefix)));
  });
}

HRESULT GZSupportObject::EnsureDirExists(BSTR* path, VARIANT_BOOL* exists) {
  return kSupport.give(L"Function EnsureDirExists", {path}, exists, [&] {
    makeFolders(viewOf(*path));
    return true;
  });
}

}  // namespace zsupport
