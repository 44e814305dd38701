#include "automation/module.h"

#include <atomic>
#include <vector>

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace zsupport {
namespace {

std::atomic<LONG> liveObjectCount{0};

// VerQueryValue wants memory that it may write to, which a resource is not.
std::vector<std::byte> versionResource() {
  const HMODULE module = moduleHandle();
  const HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(VS_VERSION_INFO), RT_VERSION);
  if (!found) return {};
  const auto* const data = static_cast<const std::byte*>(LockResource(LoadResource(module, found)));
  return data ? std::vector<std::byte>(data, data + SizeofResource(module, found))
              : std::vector<std::byte>();
}

}  // namespace

HINSTANCE moduleHandle() { return reinterpret_cast<HINSTANCE>(&__ImageBase); }

std::wstring modulePath() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length =
        GetModuleFileNameW(moduleHandle(), path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) {
      path.resize(length);
      return path;
    }
    path.resize(path.size() * 2);
  }
}

LONG liveObjects() { return liveObjectCount; }

void holdModule(bool hold) { liveObjectCount += hold ? 1 : -1; }

LiveObject::LiveObject() { ++liveObjectCount; }
LiveObject::~LiveObject() { --liveObjectCount; }

std::wstring versionText(const wchar_t* name) {
  auto resource = versionResource();
  // The one language of resources.rc: US English, Unicode.
  const std::wstring path = std::wstring(L"\\StringFileInfo\\040904B0\\") + name;
  void* text = nullptr;
  UINT length = 0;
  if (resource.empty() || !VerQueryValueW(resource.data(), path.c_str(), &text, &length)) return {};
  return static_cast<const wchar_t*>(text);
}

ModuleVersion moduleVersion() {
  auto resource = versionResource();
  void* fixed = nullptr;
  UINT length = 0;
  if (resource.empty() || !VerQueryValueW(resource.data(), L"\\", &fixed, &length)) return {};
  const auto& info = *static_cast<const VS_FIXEDFILEINFO*>(fixed);
  return {HIWORD(info.dwFileVersionMS), LOWORD(info.dwFileVersionMS), HIWORD(info.dwFileVersionLS)};
}

}  // namespace zsupport
