#include "server/registration.h"

#include <oaidl.h>
#include <oleauto.h>

#include <optional>
#include <string>
#include <vector>

#include "ZSupport.h"
#include "automation/boundary.h"
#include "automation/error.h"
#include "automation/module.h"
#include "automation/type_library.h"

namespace zsupport {
namespace {

constexpr wchar_t kClasses[] = L"Software\\Classes";
constexpr wchar_t kLibraryVersion[] = L"1.0";
// The platform's marshallers for interfaces that a type library describes.
constexpr wchar_t kDualMarshaller[] = L"{00020424-0000-0000-C000-000000000046}";
constexpr wchar_t kDispatchMarshaller[] = L"{00020420-0000-0000-C000-000000000046}";

struct RegisteredClass {
  const CLSID& id;
  const wchar_t* progId;  // version-independent
  const wchar_t* description;
};

const RegisteredClass kRegisteredClasses[] = {
    {__uuidof(Zollection), L"ZSupport.Zollection", L"ZSupport Zollection"},
    {__uuidof(GZSupport), L"ZSupport.GZSupport", L"ZSupport GZSupport"},
};

struct RegisteredInterface {
  const IID& id;
  const wchar_t* name;
  const wchar_t* marshaller;
};

const RegisteredInterface kRegisteredInterfaces[] = {
    {__uuidof(_Zollection), L"_Zollection", kDualMarshaller},
    {__uuidof(__Zollection), L"__Zollection", kDispatchMarshaller},
    {__uuidof(_GZSupport), L"_GZSupport", kDualMarshaller},
};

std::wstring textOf(REFGUID id) {
  wchar_t buffer[40];
  StringFromGUID2(id, buffer, 40);
  return buffer;
}

std::wstring libraryId() { return textOf(typeLibraryId()); }
std::wstring classKey(REFCLSID id) { return L"CLSID\\" + textOf(id); }
std::wstring interfaceKey(REFIID id) { return L"Interface\\" + textOf(id); }
std::wstring versionedProgId(const wchar_t* progId) { return std::wstring(progId) + L".1"; }

// One value below the classes root; an empty name is the key's default value.
struct Row {
  std::wstring key;
  std::wstring name;
  std::wstring value;
};

std::vector<Row> rows() {
  const std::wstring module = modulePath();
  const std::wstring library = libraryId();
  std::vector<Row> all;
  for (const RegisteredClass& each : kRegisteredClasses) {
    const std::wstring key = classKey(each.id);
    const std::wstring progId = versionedProgId(each.progId);
    all.insert(all.end(), {
                              {key, L"", each.description},
                              {key + L"\\InprocServer32", L"", module},
                              {key + L"\\InprocServer32", L"ThreadingModel", L"Apartment"},
                              {key + L"\\ProgID", L"", progId},
                              {key + L"\\VersionIndependentProgID", L"", each.progId},
                              {key + L"\\TypeLib", L"", library},
                              {key + L"\\Version", L"", kLibraryVersion},
                              {key + L"\\Programmable", L"", L""},
                              {progId, L"", each.description},
                              {progId + L"\\CLSID", L"", textOf(each.id)},
                              {each.progId, L"", each.description},
                              {std::wstring(each.progId) + L"\\CLSID", L"", textOf(each.id)},
                              {std::wstring(each.progId) + L"\\CurVer", L"", progId},
                          });
  }
  for (const RegisteredInterface& each : kRegisteredInterfaces) {
    const std::wstring key = interfaceKey(each.id);
    all.insert(all.end(), {
                              {key, L"", each.name},
                              {key + L"\\ProxyStubClsid32", L"", each.marshaller},
                              {key + L"\\TypeLib", L"", library},
                              {key + L"\\TypeLib", L"Version", kLibraryVersion},
                          });
  }
  const std::wstring libraryKey = L"TypeLib\\" + library + L"\\" + kLibraryVersion;
  all.insert(all.end(),
             {
                 {libraryKey, L"", L"ZSupport shared support library"},
                 {libraryKey + L"\\0\\win32", L"", module},
                 {libraryKey + L"\\FLAGS", L"", L"0"},
                 {libraryKey + L"\\HELPDIR", L"", module.substr(0, module.find_last_of(L'\\'))},
             });
  return all;
}

// The keys that are wholly the library's, each with everything below it.
std::vector<std::wstring> ownKeys() {
  std::vector<std::wstring> keys;
  for (const RegisteredClass& each : kRegisteredClasses) {
    keys.insert(keys.end(), {classKey(each.id), versionedProgId(each.progId), each.progId});
  }
  for (const RegisteredInterface& each : kRegisteredInterfaces) {
    keys.push_back(interfaceKey(each.id));
  }
  keys.push_back(L"TypeLib\\" + libraryId());
  return keys;
}

class Key {
 public:
  Key() = default;
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  ~Key() {
    if (key_) RegCloseKey(key_);
  }
  HKEY get() const { return key_; }
  HKEY* put() { return &key_; }

 private:
  HKEY key_ = nullptr;
};

HKEY hiveOf(RegistrationScope scope) {
  return scope == RegistrationScope::kMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
}

// A user's hive may have had none of the common keys before.
void deleteIfEmpty(HKEY root, const wchar_t* path) {
  Key key;
  DWORD subkeys = 1, values = 1;
  if (RegOpenKeyExW(root, path, 0, KEY_READ, key.put()) == ERROR_SUCCESS &&
      RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values,
                       nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS &&
      subkeys == 0 && values == 0) {
    RegDeleteKeyW(root, path);
  }
}

// What was there before, kept so that a failed registration leaves no trace.
class Undo {
 public:
  explicit Undo(HKEY classes) : classes_(classes) {}
  Undo(const Undo&) = delete;
  Undo& operator=(const Undo&) = delete;
  ~Undo() {
    for (auto step = steps_.rbegin(); step != steps_.rend(); ++step) takeBack(*step);
  }

  void write(const Row& row) {
    createPath(row.key);
    Key key;
    checkWin32(RegOpenKeyExW(classes_, row.key.c_str(), 0, KEY_READ | KEY_WRITE, key.put()));
    steps_.push_back({row.key, row.name, oldValue(key.get(), row.name), false});
    checkWin32(RegSetValueExW(key.get(), row.name.c_str(), 0, REG_SZ,
                              reinterpret_cast<const BYTE*>(row.value.c_str()),
                              static_cast<DWORD>((row.value.size() + 1) * sizeof(wchar_t))));
  }

  void commit() { steps_.clear(); }

 private:
  struct Value {
    DWORD type;
    std::vector<BYTE> data;
  };
  struct Step {
    std::wstring key;
    std::wstring name;
    std::optional<Value> old;
    bool keyIsNew;
  };

  // Creates the missing keys of a path one by one, to know which were.
  void createPath(const std::wstring& path) {
    for (size_t end = 0; end != std::wstring::npos;) {
      end = path.find(L'\\', end + 1);
      const std::wstring part = path.substr(0, end);
      Key key;
      DWORD disposition = 0;
      steps_.reserve(steps_.size() + 1);
      checkWin32(RegCreateKeyExW(classes_, part.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE,
                                 nullptr, key.put(), &disposition));
      if (disposition == REG_CREATED_NEW_KEY) steps_.push_back({part, L"", std::nullopt, true});
    }
  }

  static std::optional<Value> oldValue(HKEY key, const std::wstring& name) {
    Value value{};
    DWORD size = 0;
    if (RegQueryValueExW(key, name.c_str(), nullptr, &value.type, nullptr, &size)) return {};
    value.data.resize(size);
    if (RegQueryValueExW(key, name.c_str(), nullptr, nullptr, value.data.data(), &size)) return {};
    return value;
  }

  void takeBack(const Step& step) const {
    if (step.keyIsNew) {
      RegDeleteKeyW(classes_, step.key.c_str());
      return;
    }
    Key key;
    if (RegOpenKeyExW(classes_, step.key.c_str(), 0, KEY_WRITE, key.put())) return;
    if (step.old) {
      RegSetValueExW(key.get(), step.name.c_str(), 0, step.old->type, step.old->data.data(),
                     static_cast<DWORD>(step.old->data.size()));
    } else {
      RegDeleteValueW(key.get(), step.name.c_str());
    }
  }

  const HKEY classes_;
  std::vector<Step> steps_;
};

}  // namespace

HRESULT registerServer(RegistrationScope scope) noexcept {
  return atBoundary(IID_NULL, [&] {
    Key classes;
    checkWin32(RegCreateKeyExW(hiveOf(scope), kClasses, 0, nullptr, 0, KEY_READ | KEY_WRITE,
                               nullptr, classes.put(), nullptr));
    Undo undo(classes.get());
    for (const Row& row : rows()) undo.write(row);
    undo.commit();
  });
}

HRESULT unregisterServer(RegistrationScope scope) noexcept {
  return atBoundary(IID_NULL, [&] {
    Key classes;
    const LSTATUS opened =
        RegOpenKeyExW(hiveOf(scope), kClasses, 0, KEY_READ | KEY_WRITE, classes.put());
    if (opened == ERROR_FILE_NOT_FOUND) return;
    checkWin32(opened);
    // All keys are tried even when one resists; the first failure is what the caller hears.
    LSTATUS failure = ERROR_SUCCESS;
    for (const std::wstring& key : ownKeys()) {
      const LSTATUS status = RegDeleteTreeW(classes.get(), key.c_str());
      if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND && failure == ERROR_SUCCESS) {
        failure = status;
      }
    }
    for (const wchar_t* const container : {L"CLSID", L"Interface", L"TypeLib"}) {
      deleteIfEmpty(classes.get(), container);
    }
    checkWin32(failure);
  });
}

}  // namespace zsupport
