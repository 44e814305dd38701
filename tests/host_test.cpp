// A host as the library may meet it, in a process of its own: the compiler's shared run-time is
// loaded before the library, and the library is loaded and released a thousand times.
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

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return fail("usage");
  if (!LoadLibraryA(argv[2])) return fail("loading the shared run-time");
  if (!GetModuleHandleA("libgcc_s_dw2-1.dll")) return fail("the shared run-time's name");
  if (FAILED(CoInitialize(nullptr))) return fail("CoInitialize");
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
