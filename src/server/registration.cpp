#include "server/registration.h"

#include <oaidl.h>
#include <oleauto.h>

#include <string>
#include <vector>

// Makes the ids that ZSupport.h declares from here on.
#include <initguid.h>

#include "ZSupport.h"
#include "automation/boundary.h"
#include "automation/error.h"
#include "automation/module.h"
#include "automation/registry_key.h"
#include "server/registry_transaction.h"

namespace zsupport {
namespace {

constexpr wchar_t kClasses[] = L"Software\\Classes\\";
// The library's source in the system event log; for the machine only.
constexpr wchar_t kEventSource[] =
    L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\ZSupport";
constexpr wchar_t kLibraryVersion[] = L"1.0";
// The application that stands for the library where it runs in a process of the platform's own: for
// 64-bit clients, which cannot load it.
constexpr wchar_t kApplicationId[] = L"{8C6B1F0E-4D27-4A95-B3E8-2F7A90D5C614}";
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

std::wstring libraryId() { return textOf(LIBID_ZSupport); }
std::wstring inClasses(const std::wstring& key) { return kClasses + key; }
std::wstring classKey(REFCLSID id) { return inClasses(L"CLSID\\" + textOf(id)); }
std::wstring interfaceKey(REFIID id) { return inClasses(L"Interface\\" + textOf(id)); }
std::wstring versioned(const wchar_t* progId) { return std::wstring(progId) + L".1"; }

// What programs of either kind find of a class.
void addClassNames(std::vector<Row>& rows, const RegisteredClass& registered) {
  const std::wstring key = classKey(registered.id);
  rows.push_back({key, L"", registered.description});
  rows.push_back({key, L"AppID", kApplicationId});
  rows.push_back({key + L"\\ProgID", L"", versioned(registered.progId)});
  rows.push_back({key + L"\\VersionIndependentProgID", L"", registered.progId});
}

void addClass(std::vector<Row>& rows, const RegisteredClass& registered) {
  const std::wstring key = classKey(registered.id);
  addClassNames(rows, registered);
  rows.push_back({key + L"\\InprocServer32", L"", modulePath()});
  rows.push_back({key + L"\\InprocServer32", L"ThreadingModel", L"Apartment"});
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
  rows.push_back({key + L"\\HELPDIR", L"", module.substr(0, module.find_last_of(L'\\') + 1)});
}

void addApplication(std::vector<Row>& rows) {
  const std::wstring key = inClasses(std::wstring(L"AppID\\") + kApplicationId);
  rows.push_back({key, L"", L"ZSupport"});
  rows.push_back({key, L"DllSurrogate", L""});
}

bool isOn64BitSystem() {
  BOOL is64Bit = FALSE;
  return IsWow64Process(GetCurrentProcess(), &is64Bit) && is64Bit;
}

// What 64-bit programs have to find in their own view: classes that run in another process, and how
// calls get there. Names, library and application are in both views anyway.
void addFor64Bit(std::vector<Row>& rows) {
  std::vector<Row> visible;
  for (const RegisteredClass& each : kRegisteredClasses) addClassNames(visible, each);
  for (const RegisteredInterface& each : kRegisteredInterfaces) addInterface(visible, each);
  for (Row& row : visible) {
    row.view = k64BitView;
    rows.push_back(std::move(row));
  }
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
  addApplication(all);
  if (isOn64BitSystem()) addFor64Bit(all);
  if (scope == RegistrationScope::kMachine) {
    all.push_back({kEventSource, L"EventMessageFile", modulePath()});
    constexpr DWORD kTypes =
        EVENTLOG_ERROR_TYPE | EVENTLOG_WARNING_TYPE | EVENTLOG_INFORMATION_TYPE;
    all.push_back({kEventSource, L"TypesSupported", L"", kOwnView, kTypes});
  }
  return all;
}

// The keys that are wholly the library's, each with everything below it.
std::vector<std::wstring> ownKeys(RegistrationScope scope, REGSAM view) {
  std::vector<std::wstring> keys = {inClasses(L"TypeLib\\" + libraryId()),
                                    inClasses(std::wstring(L"AppID\\") + kApplicationId)};
  for (const RegisteredClass& each : kRegisteredClasses) {
    keys.insert(keys.end(),
                {classKey(each.id), inClasses(versioned(each.progId)), inClasses(each.progId)});
  }
  for (const RegisteredInterface& each : kRegisteredInterfaces) {
    keys.push_back(interfaceKey(each.id));
  }
  // Written in this view only.
  if (view == kOwnView && isSharedInterfaceFree(hiveOf(scope))) {
    keys.push_back(interfaceKey(__uuidof(_Collection)));
  }
  if (scope == RegistrationScope::kMachine) keys.push_back(kEventSource);
  return keys;
}

// With everything below it.
LSTATUS deleteKey(HKEY hive, const std::wstring& path, REGSAM view) {
  const size_t last = path.find_last_of(L'\\');
  RegistryKey parent;
  const LSTATUS status = RegOpenKeyExW(hive, path.substr(0, last).c_str(), 0,
                                       KEY_READ | KEY_WRITE | view, parent.put());
  return status ? status : RegDeleteTreeW(parent.get(), path.substr(last + 1).c_str());
}

// A user's hive may have had none of the common keys before.
void deleteIfEmpty(HKEY hive, const std::wstring& path, REGSAM view) {
  RegistryKey key;
  DWORD subkeys = 1, values = 1;
  if (RegOpenKeyExW(hive, path.c_str(), 0, KEY_READ | view, key.put()) == ERROR_SUCCESS &&
      RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values,
                       nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS &&
      subkeys == 0 && values == 0) {
    RegDeleteKeyExW(hive, path.c_str(), view, 0);
  }
}

}  // namespace

HRESULT registerServer(RegistrationScope scope) noexcept {
  return atBoundary(IID_NULL, [&] {
    RegistryTransaction transaction(hiveOf(scope));
    for (const Row& row : rows(scope)) transaction.write(row);
    transaction.commit();
  });
}

HRESULT unregisterServer(RegistrationScope scope) noexcept {
  return atBoundary(IID_NULL, [&] {
    const HKEY hive = hiveOf(scope);
    // All keys are tried even when one resists; the first failure is what the caller hears.
    LSTATUS failure = ERROR_SUCCESS;
    for (const REGSAM view : {kOwnView, k64BitView}) {
      for (const std::wstring& key : ownKeys(scope, view)) {
        const LSTATUS status = deleteKey(hive, key, view);
        if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND && failure == ERROR_SUCCESS) {
          failure = status;
        }
      }
      for (const wchar_t* const container : {L"AppID", L"CLSID", L"Interface", L"TypeLib"}) {
        deleteIfEmpty(hive, inClasses(container), view);
      }
    }
    checkWin32(failure);
  });
}

}  // namespace zsupport
