#include "automation/system_library.h"

#include <iterator>

#include "automation/error.h"

namespace zsupport {
namespace {

constexpr UINT kLongestName = 32;

HMODULE loadFromSystemFolder(const wchar_t* fileName) {
  wchar_t path[MAX_PATH + kLongestName];
  const UINT length = GetSystemDirectoryW(path, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) return nullptr;
  path[length] = L'\\';
  lstrcpynW(path + length + 1, fileName, kLongestName);
  return LoadLibraryExW(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

}  // namespace

// Two threads may load it at once; it is the same.
FARPROC SystemLibrary::address(const char* name) {
  HMODULE module = module_;
  if (!module) module_ = module = loadFromSystemFolder(fileName_);
  return module ? GetProcAddress(module, name) : nullptr;
}

void SystemLibrary::throwMissing() { throw makeError(HRESULT_FROM_WIN32(GetLastError())); }

}  // namespace zsupport
