// GZSupport: path names and identity.
#include <windows.h>
#include <shlwapi.h>

#include <string>
#include <winnetwk.h>

#include "automation/ansi.h"
#include "automation/error.h"
#include "automation/system_library.h"
#include "support/gzsupport.h"
#include "support/member.h"

namespace zsupport {
namespace {

constexpr wchar_t kGetUserName[] = L"Function GetUserName";  // of GetComputerName, too: deliberate
constexpr size_t kDrivePrefix = 2;  // characters in which a colon may stand

constinit SystemLibrary network(L"mpr.dll");
constinit SystemLibrary shellPaths(L"shlwapi.dll");

bool isAllowed(wchar_t character) {
  // Not a separator to every version of the platform.
  if (character == L'/') return true;
  const int code = ansiCode(character);
  if (code < 0 || code > 0xFF) throw makeError(runtime::kOverflow);
  const auto& typeOf = shellPaths.get<decltype(PathGetCharTypeA)>("PathGetCharTypeA");
  const UINT type = typeOf(static_cast<UCHAR>(code));
  return type & (GCT_LFNCHAR | GCT_SEPARATOR);
}

// Runs of blanks become one, and none is left at either end.
std::wstring collapsed(const std::wstring& text) {
  std::wstring result;
  for (const wchar_t c : text) {
    if (c != L' ' || (!result.empty() && result.back() != L' ')) result.push_back(c);
  }
  if (result.ends_with(L' ')) result.pop_back();
  return result;
}

std::wstring legalPath(std::wstring text) {
  for (wchar_t& c : text) {
    if (!isAllowed(c)) c = L' ';
  }
  for (size_t i = kDrivePrefix; i < text.size(); ++i) {
    if (text[i] == L':') text[i] = L' ';
  }
  return collapsed(text);
}

std::wstring longPath(const std::string& shortPath) {
  const DWORD size = GetLongPathNameA(shortPath.c_str(), nullptr, 0);
  if (size == 0) throw makeError(runtime::kSubscriptOutOfRange);
  std::string buffer(size, '\0');
  GetLongPathNameA(shortPath.c_str(), buffer.data(), size);
  return fromAnsi(buffer);  // with its terminating zero
}

std::wstring userName() {
  char buffer[256] = {};
  DWORD size = sizeof buffer;
  const auto& getUser = network.get<decltype(WNetGetUserA)>("WNetGetUserA");
  if (getUser(nullptr, buffer, &size) != NO_ERROR) return {};
  return fromAnsi(std::string_view(buffer, strnlen(buffer, sizeof buffer)));
}

std::wstring computerName() {
  char buffer[32] = {};
  DWORD size = sizeof buffer;
  return GetComputerNameA(buffer, &size) ? fromAnsi({buffer, size}) : std::wstring();
}

}  // namespace

HRESULT GZSupportObject::MakeLegalPath(BSTR text, BSTR* path) {
  return kSupport.give(L"Function MakeLegalPath", {}, path,
                       [&] { return legalPath(std::wstring(viewOf(text))); });
}

HRESULT GZSupportObject::GetLongPathName(BSTR* shortPath, BSTR* path) {
  return kSupport.give(L"Function GetLongPathName", {shortPath}, path,
                       [&] { return longPath(toAnsi(viewOf(*shortPath))); });
}

HRESULT GZSupportObject::GetUserName(BSTR* name) {
  return kSupport.give(kGetUserName, {}, name, userName);
}

HRESULT GZSupportObject::GetComputerName(BSTR* name) {
  return kSupport.give(kGetUserName, {}, name, computerName);
}

}  // namespace zsupport
