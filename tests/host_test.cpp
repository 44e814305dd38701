// A host as the library may meet it, in a process of its own: with the compiler's shared run-time,
// without memory at the first throw and on new threads, loading and releasing it again and again.
//
// usage: host_test LIBRARY SHARED_RUNTIME
#include "support/com.h"
#include "support/failing_memory.h"

namespace {

const char* path = nullptr;

ComPtr<IClassFactory> factoryOf(HMODULE library, REFCLSID classId) {
  ComPtr<IClassFactory> factory;
  reinterpret_cast<HRESULT WINAPI (*)(REFCLSID, REFIID, void**)>(reinterpret_cast<void*>(
      GetProcAddress(library, "DllGetClassObject")))(classId, IID_IClassFactory, factory.putVoid());
  return factory;
}

template <class T>
ComPtr<T> make(HMODULE library, REFCLSID classId) {
  ComPtr<T> object;
  factoryOf(library, classId)->CreateInstance(nullptr, __uuidof(T), object.putVoid());
  return object;
}

TEST(Host, LivesOnWithoutMemory) {
  const HMODULE library = LoadLibraryA(path);
  const auto factory = factoryOf(library, __uuidof(Zollection));
  const auto z = make<_Zollection>(library, __uuidof(Zollection)),
             item = make<_Zollection>(library, __uuidof(Zollection));
  const auto support = make<_GZSupport>(library, __uuidof(GZSupport));
  const Placement place = {.key = L"k", .sourceIID = kNoEvents};
  for (int i = 0; i < 8; ++i) {
    onFreshThread([&] {
      Text none(L"C:\\no such folder\\no such file"), found;
      void* object = nullptr;
      const FailingMemory noMemory(1);
      EXPECT_EQ(runtimeError(7), add(z.get(), item.get(), place));
      EXPECT_EQ(runtimeError(381), z->RemoveByIndex(0));
      EXPECT_EQ(runtimeError(7), factory->CreateInstance(nullptr, IID_IUnknown, &object));
      EXPECT_EQ(runtimeError(7), support->GetLongPathName(none.inout(), found.inout()));
    });
  }
  EXPECT_EQ(0, countOf(z.get()));
  EXPECT_EQ(S_OK, add(z.get(), item.get(), place));
  EXPECT_EQ(S_OK, z->Clear());
  FreeLibrary(library);
}

TEST(Host, MayLoadTheLibraryAThousandTimes) {
  for (int i = 0; i <= 1000; ++i) {
    const HMODULE library = LoadLibraryA(path);
    ASSERT_TRUE(library) << i;
    if (i % 100 == 0) {
      const auto z = make<_Zollection>(library, __uuidof(Zollection));
      EXPECT_EQ(runtimeError(381), z->RemoveByIndex(0));
    }
    FreeLibrary(library);
  }
}

// What few members need is loaded when they are called: every program starts sooner.
TEST(Host, LoadsWithoutWhatFewMembersNeed) {
  auto* const base =
      reinterpret_cast<const char*>(LoadLibraryExA(path, nullptr, DONT_RESOLVE_DLL_REFERENCES));
  ASSERT_TRUE(base);
  const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS32*>(
      base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
  const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  int modules = 0;
  for (const auto* module =
           reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
       module->Name; ++module, ++modules) {
    for (const char* late : {"MPR.DLL", "VERSION.DLL", "MSI.DLL"})
      EXPECT_STRCASENE(late, base + module->Name);
  }
  EXPECT_GT(modules, 3);
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (argc != 3 || !LoadLibraryA(argv[2]) || !GetModuleHandleA("libgcc_s_dw2-1.dll")) return 1;
  path = argv[1];
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  return RUN_ALL_TESTS();
}
