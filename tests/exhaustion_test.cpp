// A host without memory, in a process of its own: whatever the library and the run-time inside it
// ask for is refused. What the library is asked then fails with error 7, on threads that it has not
// met before, too; the process lives on, and works again when there is memory.
//
// usage: exhaustion_test LIBRARY
#include <windows.h>
#include <oleauto.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <objbase.h>
#include <utility>

#include "ZSupport.h"
#include "events/connection.h"

namespace {

constexpr HRESULT kOutOfMemory = static_cast<HRESULT>(0x800A0007u);
constexpr HRESULT kInvalidIndex = static_cast<HRESULT>(0x800A0000u | 381);
constexpr int kThreads = 8;

// The entry of the library's import table through which it calls a function.
void** importOf(HMODULE library, const char* wanted) {
  const auto base = reinterpret_cast<char*>(library);
  const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(
      base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
  const auto* module = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(
      base + headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
  for (; module->Name; ++module) {
    const auto* name = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + module->OriginalFirstThunk);
    auto* entry = reinterpret_cast<void**>(base + module->FirstThunk);
    for (; name->u1.AddressOfData; ++name, ++entry) {
      const char* const text =
          reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + name->u1.AddressOfData)->Name;
      if (!IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal) && std::strcmp(text, wanted) == 0) return entry;
    }
  }
  return nullptr;
}

void* WINAPI refuse1(void*) { return nullptr; }
void* WINAPI refuse2(void*, void*) { return nullptr; }
void* WINAPI refuse3(void*, void*, void*) { return nullptr; }
void* WINAPI refuse4(void*, void*, void*, void*) { return nullptr; }
void* refuseAny() { return nullptr; }

// As long as one lives.
class NoMemory {
 public:
  explicit NoMemory(HMODULE library) : library_(library) { exchange(); }
  NoMemory(const NoMemory&) = delete;
  NoMemory& operator=(const NoMemory&) = delete;
  ~NoMemory() { exchange(); }

 private:
  struct Function {
    const char* name;
    void* replacement;
  };

  void exchange() {
    for (auto& [name, replacement] : functions_) {
      void** const entry = importOf(library_, name);
      if (!entry) continue;
      DWORD protection;
      VirtualProtect(entry, sizeof *entry, PAGE_READWRITE, &protection);
      std::swap(*entry, replacement);
    }
  }

  const HMODULE library_;
  Function functions_[14] = {
      {"malloc", reinterpret_cast<void*>(refuseAny)},
      {"calloc", reinterpret_cast<void*>(refuseAny)},
      {"realloc", reinterpret_cast<void*>(refuseAny)},
      {"HeapAlloc", reinterpret_cast<void*>(refuse3)},
      {"HeapReAlloc", reinterpret_cast<void*>(refuse4)},
      {"HeapCreate", reinterpret_cast<void*>(refuse3)},
      {"GlobalAlloc", reinterpret_cast<void*>(refuse2)},
      {"LocalAlloc", reinterpret_cast<void*>(refuse2)},
      {"CoTaskMemAlloc", reinterpret_cast<void*>(refuse1)},
      {"SysAllocString", reinterpret_cast<void*>(refuse1)},
      {"SysAllocStringLen", reinterpret_cast<void*>(refuse2)},
      {"SysAllocStringByteLen", reinterpret_cast<void*>(refuse2)},
      {"SafeArrayCreate", reinterpret_cast<void*>(refuse3)},
      {"SafeArrayCreateVector", reinterpret_cast<void*>(refuse3)},
  };
};

// What the threads use and leave; nothing of it needs memory any more.
struct Scene {
  IClassFactory* factory;
  _Zollection* z;
  _GZSupport* support;
  IDispatch* item;
  BSTR noEvents, key, text;
} scene;

// One thread, and what it was answered; they run one after the other.
struct Caller {
  HANDLE begin, thread;
  HRESULT add, remove, create, member;
} callers[kThreads];

DWORD WINAPI callWithoutMemory(void* place) {
  auto& caller = *static_cast<Caller*>(place);
  VARIANT none;
  V_VT(&none) = VT_ERROR;
  V_ERROR(&none) = DISP_E_PARAMNOTFOUND;
  WaitForSingleObject(caller.begin, INFINITE);
  caller.add = scene.z->Add(scene.item, &scene.noEvents, &scene.key, &none, &none);
  caller.remove = scene.z->RemoveByIndex(0);
  void* object = nullptr;
  caller.create = scene.factory->CreateInstance(nullptr, IID_IUnknown, &object);
  BSTR path = nullptr;
  caller.member = scene.support->GetLongPathName(&scene.text, &path);
  return 0;
}

int failures = 0;

void expect(HRESULT expected, HRESULT actual, const char* what) {
  if (expected == actual) return;
  ++failures;
  std::printf("FAILED: %s answered 0x%08lX\n", what, static_cast<unsigned long>(actual));
}

template <class T>
T* make(HMODULE library, REFCLSID classId, IClassFactory** kept = nullptr) {
  using GetClassObject = HRESULT WINAPI(REFCLSID, REFIID, void**);
  auto* const getClassObject = reinterpret_cast<GetClassObject*>(
      reinterpret_cast<void*>(GetProcAddress(library, "DllGetClassObject")));
  IClassFactory* factory = nullptr;
  T* object = nullptr;
  if (getClassObject(classId, IID_IClassFactory, reinterpret_cast<void**>(&factory)) ||
      factory->CreateInstance(nullptr, __uuidof(T), reinterpret_cast<void**>(&object))) {
    std::puts("FAILED: no object");
    std::exit(1);
  }
  if (kept) {
    *kept = factory;
  } else {
    factory->Release();
  }
  return object;
}

}  // namespace

int main(int argc, char** argv) {
  const HMODULE library = argc == 2 ? LoadLibraryA(argv[1]) : nullptr;
  if (!library || FAILED(CoInitialize(nullptr))) return 1;
  scene.z = make<_Zollection>(library, __uuidof(Zollection), &scene.factory);
  scene.support = make<_GZSupport>(library, __uuidof(GZSupport));
  scene.item = make<_Zollection>(library, __uuidof(Zollection));
  scene.noEvents = SysAllocString(zsupport::kNoEvents);
  scene.text = SysAllocString(L"C:\\no such folder\\no such file");
  for (Caller& caller : callers) {
    caller.begin = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    caller.thread = CreateThread(nullptr, 0, callWithoutMemory, &caller, 0, nullptr);
  }
  {
    const NoMemory none{library};
    for (const Caller& caller : callers) {
      SetEvent(caller.begin);
      WaitForSingleObject(caller.thread, INFINITE);
    }
  }
  for (const Caller& caller : callers) {
    expect(kOutOfMemory, caller.add, "Add");
    expect(kInvalidIndex, caller.remove, "RemoveByIndex");
    expect(kOutOfMemory, caller.create, "CreateInstance");
    expect(kOutOfMemory, caller.member, "GetLongPathName");
  }
  LONG count = 0;
  expect(S_OK, scene.z->get_Count(&count), "Count");
  scene.z->Clear();
  VARIANT none;
  V_VT(&none) = VT_ERROR;
  V_ERROR(&none) = DISP_E_PARAMNOTFOUND;
  expect(S_OK, scene.z->Add(scene.item, &scene.noEvents, &scene.key, &none, &none),
         "Add with memory");
  std::printf("%d failures\nexhaustion done\n", failures);
  return failures;
}
