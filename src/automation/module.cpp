#include "automation/module.h"

#include <atomic>
#include <cwchar>

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace zsupport {
namespace {

std::atomic<LONG> liveObjectCount{0};

// A block of a version resource: lengths, name, value, and the blocks inside, each at an address
// divisible by 4. Read as it lies in the image, without the platform's library for versions.
class VersionBlock {
 public:
  VersionBlock() = default;
  explicit VersionBlock(const std::byte* start) : start_(start) {}
  explicit operator bool() const { return start_ != nullptr; }

  const wchar_t* name() const { return reinterpret_cast<const wchar_t*>(start_ + sizeof(Head)); }
  const void* value() const { return aligned(name() + std::wcslen(name()) + 1); }
  VersionBlock inner(const wchar_t* name) const {
    const bool isText = head().type == 1;
    const auto* next = static_cast<const std::byte*>(value()) +
                       head().valueLength * (isText ? sizeof(wchar_t) : 1);
    for (;;) {
      const VersionBlock block(aligned(next));
      if (block.start_ >= start_ + head().length) return {};
      if (std::wcscmp(block.name(), name) == 0) return block;
      next = block.start_ + block.head().length;
    }
  }

 private:
  struct Head {
    WORD length;
    WORD valueLength;
    WORD type;
  };
  const Head& head() const { return *reinterpret_cast<const Head*>(start_); }
  static const std::byte* aligned(const void* place) {
    return reinterpret_cast<const std::byte*>((reinterpret_cast<ULONG_PTR>(place) + 3) & ~3u);
  }

  const std::byte* start_ = nullptr;
};

VersionBlock versionResource() {
  const HMODULE module = moduleHandle();
  const HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(VS_VERSION_INFO), RT_VERSION);
  if (!found) return {};
  return VersionBlock(static_cast<const std::byte*>(LockResource(LoadResource(module, found))));
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

const wchar_t* versionText(const wchar_t* name) {
  VersionBlock block = versionResource();
  // The one language of resources.rc: US English, Unicode.
  for (const wchar_t* const part : {L"StringFileInfo", L"040904B0", name}) {
    if (block) block = block.inner(part);
  }
  return block ? static_cast<const wchar_t*>(block.value()) : L"";
}

ModuleVersion moduleVersion() {
  const VersionBlock block = versionResource();
  if (!block) return {};
  const auto& info = *static_cast<const VS_FIXEDFILEINFO*>(block.value());
  return {HIWORD(info.dwFileVersionMS), LOWORD(info.dwFileVersionMS), HIWORD(info.dwFileVersionLS)};
}

}  // namespace zsupport
