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
#include "automation/registry_key.h"
#include "automation/type_library.h"

namespace zsupport {
namespace {

constexpr wchar_t kClasses[] = L"Software\\Classes\\";
// The library's source in the system event log; for the machine only.
constexpr wchar_t kEventSource[] =
    L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\ZSupport";
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
std::wstring inClasses(const std::wstring& key) { return kClasses + key; }
std::wstring classKey(REFCLSID id) { return inClasses(L"CLSID\\" + textOf(id)); }
std::wstring interfaceKey(REFIID id) { return inClasses(L"Interface\\" + textOf(id)); }
std::wstring versioned(const wchar_t* progId) { return std::wstring(progId) + L".1"; }

// One value below the hive; an empty name is the key's default value.
struct Row {
  std::wstring key;
  std::wstring name;
  std::wstring value;
};

void addClass(std::vector<Row>& rows, const RegisteredClass& registered) {
  const std::wstring key = classKey(registered.id);
  rows.push_back({key, L"", registered.description});
  rows.push_back({key + L"\\InprocServer32", L"", modulePath()});
  rows.push_back({key + L"\\InprocServer32", L"ThreadingModel", L"Apartment"});
  rows.push_back({key + L"\\ProgID", L"", versioned(registered.progId)});
  rows.push_back({key + L"\\VersionIndependentProgID", L"", registered.progId});
  rows.push_back({key + L"\\TypeLib", L"", libraryId()});
  rows.push_back({key + L"\\Version", L"", kLibraryVersion});
  rows.push_back({key + L"\\Programmable", L"", L""});
  for (const std::wstring& progId :
       {versioned(registered.progId), std::wstring(registered.progId)}) {
    rows.push_back({inClasses(progId), L"", registered.description});
    rows.push_back({inClasses(progId) + L"\\CLSID", L"", textOf(registered.id)});
  }
  rows.push_back({inClasses(registered.progId) + L"\\CurVer", L"", versioned(registered.progId)});
}

void addInterface(std::vector<Row>& rows, const RegisteredInterface& registered) {
  const std::wstring key = interfaceKey(registered.id);
  rows.push_back({key, L"", registered.name});
  rows.push_back({key + L"\\ProxyStubClsid32", L"", registered.marshaller});
  rows.push_back({key + L"\\TypeLib", L"", libraryId()});
  rows.push_back({key + L"\\TypeLib", L"Version", kLibraryVersion});
}

void addLibrary(std::vector<Row>& rows) {
  const std::wstring module = modulePath();
  const std::wstring key = inClasses(L"TypeLib\\" + libraryId() + L"\\" + kLibraryVersion);
  rows.push_back({key, L"", L"ZSupport shared support library"});
  rows.push_back({key + L"\\0\\win32", L"", module});
  rows.push_back({key + L"\\FLAGS", L"", L"0"});
  rows.push_back({key + L"\\HELPDIR", L"", module.substr(0, module.find_last_of(L'\\'))});
}

HKEY hiveOf(RegistrationScope scope) {
  return scope == RegistrationScope::kMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
}

// The interface of standard collections belongs to everybody: where another library has described
// it already, that stays.
bool isSharedInterfaceFree(HKEY hive) {
  RegistryKey key;
  if (RegOpenKeyExW(hive, interfaceKey(__uuidof(_Collection)).c_str(), 0, KEY_READ, key.put())) {
    return true;
  }
  wchar_t library[64] = L"";
  DWORD size = sizeof library;
  RegGetValueW(key.get(), L"TypeLib", nullptr, RRF_RT_REG_SZ, nullptr, library, &size);
  return library == libraryId();
}

std::vector<Row> rows(RegistrationScope scope) {
  std::vector<Row> all;
  for (const RegisteredClass& each : kRegisteredClasses) addClass(all, each);
  for (const RegisteredInterface& each : kRegisteredInterfaces) addInterface(all, each);
  // A user's description would hide the machine's.
  if (isSharedInterfaceFree(hiveOf(scope)) && isSharedInterfaceFree(HKEY_LOCAL_MACHINE)) {
    addInterface(all, {__uuidof(_Collection), L"_Collection", kDualMarshaller});
  }
  addLibrary(all);
  if (scope == RegistrationScope::kMachine) {
    all.push_back({kEventSource, L"EventMessageFile", modulePath()});
  }
  return all;
}

// The keys that are wholly the library's, each with everything below it.
std::vector<std::wstring> ownKeys(RegistrationScope scope) {
  std::vector<std::wstring> keys = {inClasses(L"TypeLib\\" + libraryId())};
  for (const RegisteredClass& each : kRegisteredClasses) {
    keys.insert(keys.end(),
                {classKey(each.id), inClasses(versioned(each.progId)), inClasses(each.progId)});
  }
  for (const RegisteredInterface& each : kRegisteredInterfaces) {
    keys.push_back(interfaceKey(each.id));
  }
  if (isSharedInterfaceFree(hiveOf(scope))) keys.push_back(interfaceKey(__uuidof(_Collection)));
  if (scope == RegistrationScope::kMachine) keys.push_back(kEventSource);
  return keys;
}

// A user's hive may have had none of the common keys before.
void deleteIfEmpty(HKEY hive, const std::wstring& path) {
  RegistryKey key;
  DWORD subkeys = 1, values = 1;
  if (RegOpenKeyExW(hive, path.c_str(), 0, KEY_READ, key.put()) == ERROR_SUCCESS &&
      RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values,
                       nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS &&
      subkeys == 0 && values == 0) {
    RegDeleteKeyW(hive, path.c_str());
  }
}

// What was there before, kept so that a failed registration leaves no trace.
class Undo {
 public:
  explicit Undo(HKEY hive) : hive_(hive) {}
  Undo(const Undo&) = delete;
  Undo& operator=(const Undo&) = delete;
  ~Undo() {
    for (auto step = steps_.rbegin(); step != steps_.rend(); ++step) takeBack(*step);
  }

  void write(const Row& row) {
    createPath(row.key);
    RegistryKey key;
    checkWin32(RegOpenKeyExW(hive_, row.key.c_str(), 0, KEY_READ | KEY_WRITE, key.put()));
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
      RegistryKey key;
      DWORD disposition = 0;
      steps_.reserve(steps_.size() + 1);
      checkWin32(RegCreateKeyExW(hive_, part.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr,
                                 key.put(), &disposition));
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
      RegDeleteKeyW(hive_, step.key.c_str());
      return;
    }
    RegistryKey key;
    if (RegOpenKeyExW(hive_, step.key.c_str(), 0, KEY_WRITE, key.put())) return;
    if (step.old) {
      RegSetValueExW(key.get(), step.name.c_str(), 0, step.old->type, step.old->data.data(),
                     static_cast<DWORD>(step.old->data.size()));
    } else {
      RegDeleteValueW(key.get(), step.name.c_str());
    }
  }

  const HKEY hive_;
  std::vector<Step> steps_;
};

}  // namespace

HRESULT registerServer(RegistrationScope scope) noexcept {
  return atBoundary(IID_NULL, [&] {
    Undo undo(hiveOf(scope));
    for (const Row& row : rows(scope)) undo.write(row);
    undo.commit();
  });
}

HRESULT unregisterServer(RegistrationScope scope) noexcept {
  return atBoundary(IID_NULL, [&] {
    const HKEY hive = hiveOf(scope);
    // All keys are tried even when one resists; the first failure is what the caller hears.
    LSTATUS failure = ERROR_SUCCESS;
    for (const std::wstring& key : ownKeys(scope)) {
      const LSTATUS status = RegDeleteTreeW(hive, key.c_str());
      if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND && failure == ERROR_SUCCESS) {
        failure = status;
      }
    }
    for (const wchar_t* const container : {L"CLSID", L"Interface", L"TypeLib"}) {
      deleteIfEmpty(hive, inClasses(container));
    }
    checkWin32(failure);
  });
}

}  // namespace zsupport
