// ZSupport without registration: a program whose manifest names the library.
//
// To run it, put ZSupport.dll and ZSupport.Library.manifest (both are in the ZIP package) next to
// it.
#include <windows.h>
#include <oleauto.h>

#include <cstdio>

#include "ZSupport.h"

namespace {

template <class T>
T* create(REFCLSID classId) {
  void* object = nullptr;
  const HRESULT result =
      CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, __uuidof(T), &object);
  if (FAILED(result)) std::printf("not created: 0x%08lX\n", static_cast<unsigned long>(result));
  return static_cast<T*>(object);
}

}  // namespace

int main() {
  if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 1;
  // By id, and by name: names of classes are found without registration, too.
  CLSID byName{};
  CLSIDFromProgID(L"ZSupport.Zollection", &byName);
  auto* const support = create<_GZSupport>(__uuidof(GZSupport));
  auto* const z = create<_Zollection>(byName);
  if (!support || !z) return 1;
  BSTR name = nullptr;
  LONG count = -1;
  support->GetComputerName(&name);
  z->get_Count(&count);
  std::printf("without registration: this computer has a name: %s; items: %ld\n",
              SysStringLen(name) > 0 ? "yes" : "no", count);
  SysFreeString(name);
  z->Release();
  support->Release();
  CoUninitialize();
}
