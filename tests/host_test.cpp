// A host as the library may meet it, in a process of its own: the compiler's shared run-time is
// loaded before the library; the library is registered as installers do it, in their own process,
// which unloads it again; and it is loaded and released a thousand times.
//
// usage: host_test LIBRARY SHARED_RUNTIME
#include <windows.h>

#include <cstdio>
#include <objbase.h>

#include "ZSupport.h"

namespace {

int fail(const char* what) {
  std::printf("FAILED: %s (error %lu)\n", what, GetLastError());
  return 1;
}

// Throws and catches inside the library.
bool worksIn(HMODULE library) {
  using GetClassObject = HRESULT WINAPI(REFCLSID, REFIID, void**);
  auto* const getClassObject = reinterpret_cast<GetClassObject*>(
      reinterpret_cast<void*>(GetProcAddress(library, "DllGetClassObject")));
  IClassFactory* factory = nullptr;
  _Zollection* z = nullptr;
  if (!getClassObject || FAILED(getClassObject(__uuidof(Zollection), IID_IClassFactory,
                                               reinterpret_cast<void**>(&factory)))) {
    return false;
  }
  const HRESULT created =
      factory->CreateInstance(nullptr, __uuidof(_Zollection), reinterpret_cast<void**>(&z));
  factory->Release();
  if (FAILED(created)) return false;
  const HRESULT result = z->RemoveByIndex(0);
  z->Release();
  return result == static_cast<HRESULT>(0x800A0000u | 381);
}

// Registers and unregisters below a key of the test's own. The library is gone afterwards.
bool leavesNothingOf(const char* path) {
  using Install = HRESULT WINAPI(BOOL, LPCWSTR);
  constexpr wchar_t kSandbox[] = L"Software\\ZSupportTestHost";
  HKEY sandbox;
  const HMODULE library = LoadLibraryA(path);
  auto* const install =
      reinterpret_cast<Install*>(reinterpret_cast<void*>(GetProcAddress(library, "DllInstall")));
  if (!install || RegCreateKeyW(HKEY_CURRENT_USER, kSandbox, &sandbox)) return false;
  RegOverridePredefKey(HKEY_CURRENT_USER, sandbox);
  const bool isDone = install(TRUE, L"user") == S_OK && install(FALSE, L"user") == S_OK;
  RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
  RegCloseKey(sandbox);
  RegDeleteTreeW(HKEY_CURRENT_USER, kSandbox);
  FreeLibrary(library);
  return isDone && !GetModuleHandleA("ZSupport.dll");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return fail("usage");
  if (!LoadLibraryA(argv[2])) return fail("loading the shared run-time");
  if (!GetModuleHandleA("libgcc_s_dw2-1.dll")) return fail("the shared run-time's name");
  if (FAILED(CoInitialize(nullptr))) return fail("CoInitialize");
  for (int i = 0; i < 3; ++i) {
    if (!leavesNothingOf(argv[1])) return fail("registering the library in passing");
  }
  for (int i = 0; i < 1000; ++i) {
    const HMODULE library = LoadLibraryA(argv[1]);
    if (!library) return fail("loading the library");
    if (i % 100 == 0 && !worksIn(library)) return fail("using the library");
    FreeLibrary(library);
  }
  const HMODULE library = LoadLibraryA(argv[1]);
  if (!library || !worksIn(library)) return fail("using the library at the end");
  CoUninitialize();
  std::puts("host done");
  return 0;
}
