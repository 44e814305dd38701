#include "version.h"

#include <windows.h>

#include <vector>

namespace monitor {
namespace {

std::wstring modulePath(HMODULE module) {
  wchar_t path[MAX_PATH];
  return std::wstring(path, GetModuleFileNameW(module, path, ARRAYSIZE(path)));
}

std::wstring versionOf(const std::wstring& path) {
  DWORD ignored;
  std::vector<char> data(GetFileVersionInfoSizeW(path.c_str(), &ignored));
  VS_FIXEDFILEINFO* found = nullptr;
  UINT size = 0;
  if (data.empty() ||
      !GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(data.size()), data.data()) ||
      !VerQueryValueW(data.data(), L"\\", reinterpret_cast<void**>(&found), &size)) {
    return L"?";
  }
  wchar_t text[48];
  wsprintfW(text, L"%u.%u.%u", HIWORD(found->dwFileVersionMS), LOWORD(found->dwFileVersionMS),
            HIWORD(found->dwFileVersionLS));
  return text;
}

}  // namespace

std::wstring programFolder() {
  const std::wstring path = modulePath(nullptr);
  return path.substr(0, path.find_last_of(L'\\') + 1);
}

std::wstring programVersion() { return versionOf(modulePath(nullptr)); }

std::wstring aboutText() {
  const HMODULE library = GetModuleHandleW(L"ZSupport.dll");
  return L"ZSupport Monitor " + programVersion() + L"\n\n" +
         (library ? L"The library: " + versionOf(modulePath(library)) + L"\n" + modulePath(library)
                  : L"The library has not been loaded.");
}

}  // namespace monitor
