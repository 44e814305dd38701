#include "event_sources.h"

#include <algorithm>
#include <cwchar>
#include <map>

#include "text.h"

namespace monitor {
namespace {

// An open registry key, or none.
class Key {
 public:
  Key(HKEY parent, const std::wstring& path) {
    if (RegOpenKeyExW(parent, path.c_str(), 0, KEY_READ, &key_)) key_ = nullptr;
  }
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  ~Key() {
    if (key_) RegCloseKey(key_);
  }

  HKEY get() const { return key_; }

  bool child(DWORD index, std::wstring& name) const {
    wchar_t text[256];
    DWORD length = ARRAYSIZE(text);
    const bool isThere = key_ && RegEnumKeyExW(key_, index, text, &length, nullptr, nullptr,
                                               nullptr, nullptr) == ERROR_SUCCESS;
    if (isThere) name.assign(text, length);
    return isThere;
  }

  // The default value below this key.
  std::wstring valueOf(const std::wstring& path) const {
    wchar_t text[256];
    DWORD size = sizeof text;
    return key_ && RegGetValueW(key_, path.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, text, &size) ==
                       ERROR_SUCCESS
               ? text
               : std::wstring();
  }

 private:
  HKEY key_ = nullptr;
};

bool isEventSource(ITypeInfo* coclass, const TYPEATTR& attributes) {
  for (UINT i = 0; i < attributes.cImplTypes; ++i) {
    int flags = 0;
    if (SUCCEEDED(coclass->GetImplTypeFlags(i, &flags)) && (flags & IMPLTYPEFLAG_FSOURCE))
      return true;
  }
  return false;
}

// The ids of the classes in a library that list an event interface.
std::vector<std::wstring> sourcesIn(ITypeLib* library) {
  std::vector<std::wstring> sources;
  for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
    TYPEKIND kind;
    ITypeInfo* found = nullptr;
    if (FAILED(library->GetTypeInfoType(i, &kind)) || kind != TKIND_COCLASS ||
        FAILED(library->GetTypeInfo(i, &found))) {
      continue;
    }
    const Ptr<ITypeInfo> coclass(found, false);
    TYPEATTR* attributes = nullptr;
    if (FAILED(coclass->GetTypeAttr(&attributes))) continue;
    if (isEventSource(coclass, *attributes)) sources.push_back(formatGuid(attributes->guid));
    coclass->ReleaseTypeAttr(attributes);
  }
  return sources;
}

// As a number that grows with versions; they are written in hexadecimal digits: 1.a comes
// after 1.9.
unsigned long versionNumber(const std::wstring& text) {
  wchar_t* end = nullptr;
  const unsigned long major = std::wcstoul(text.c_str(), &end, 16);
  const unsigned long minor = *end == L'.' ? std::wcstoul(end + 1, nullptr, 16) : 0;
  return (major & 0xFFFF) << 16 | (minor & 0xFFFF);
}

// Its latest version, whatever its language.
Ptr<ITypeLib> loadLibrary(const std::wstring& id) {
  const Key versions(HKEY_CLASSES_ROOT, L"TypeLib\\" + id);
  std::wstring version, path;
  unsigned long latest = 0;
  for (DWORD i = 0; versions.child(i, version); ++i) {
    if (!path.empty() && versionNumber(version) < latest) continue;
    const Key languages(versions.get(), version);
    std::wstring language;
    for (DWORD j = 0; languages.child(j, language); ++j) {
      const std::wstring found = languages.valueOf(language + L"\\win32");
      if (found.empty()) continue;
      path = found;
      latest = versionNumber(version);
    }
  }
  ITypeLib* library = nullptr;
  if (path.empty() || FAILED(LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library))) return nullptr;
  return Ptr<ITypeLib>(library, false);
}

}  // namespace

std::vector<std::wstring> eventSourceClasses(HANDLE stop) {
  const Key classes(HKEY_CLASSES_ROOT, L"CLSID");
  std::map<std::wstring, std::vector<std::wstring>> sourcesOfLibrary;
  std::vector<std::wstring> names;
  std::wstring id;
  for (DWORD i = 0; classes.child(i, id); ++i) {
    if (WaitForSingleObject(stop, 0) == WAIT_OBJECT_0) break;
    const std::wstring library = folded(classes.valueOf(id + L"\\TypeLib"));
    if (library.empty()) continue;
    const std::wstring name = classes.valueOf(id + L"\\ProgID");
    if (name.empty()) continue;
    auto known = sourcesOfLibrary.find(library);
    if (known == sourcesOfLibrary.end()) {
      const Ptr<ITypeLib> loaded = loadLibrary(library);
      known = sourcesOfLibrary
                  .emplace(library, loaded ? sourcesIn(loaded) : std::vector<std::wstring>())
                  .first;
    }
    const auto& sources = known->second;
    if (std::find(sources.begin(), sources.end(), folded(id)) != sources.end())
      names.push_back(name);
  }
  std::sort(names.begin(), names.end(),
            [](const auto& a, const auto& b) { return compareFolded(a, b) < 0; });
  return names;
}

Ptr<IUnknown> RunningObject::object() const {
  IRunningObjectTable* table = nullptr;
  IUnknown* found = nullptr;
  if (FAILED(GetRunningObjectTable(0, &table))) return nullptr;
  const Ptr<IRunningObjectTable> running(table, false);
  if (FAILED(running->GetObject(moniker, &found)) || !found) return nullptr;
  return Ptr<IUnknown>(found, false);
}

std::vector<RunningObject> runningObjects() {
  std::vector<RunningObject> objects;
  IRunningObjectTable* table = nullptr;
  IEnumMoniker* found = nullptr;
  IBindCtx* bind = nullptr;
  if (FAILED(GetRunningObjectTable(0, &table))) return objects;
  const Ptr<IRunningObjectTable> running(table, false);
  if (FAILED(running->EnumRunning(&found)) || FAILED(CreateBindCtx(0, &bind))) return objects;
  const Ptr<IEnumMoniker> monikers(found, false);
  const Ptr<IBindCtx> context(bind, false);
  IMoniker* next = nullptr;
  while (monikers->Next(1, &next, nullptr) == S_OK) {
    RunningObject object{L"", Ptr<IMoniker>(next, false)};
    LPOLESTR name = nullptr;
    if (FAILED(object.moniker->GetDisplayName(context, nullptr, &name))) continue;
    object.name = name;
    CoTaskMemFree(name);
    objects.push_back(std::move(object));
  }
  return objects;
}

}  // namespace monitor
