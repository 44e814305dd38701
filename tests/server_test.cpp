// The library as a server: entry points, class factory, identity, registration, type library.
#include <windows.h>
#include <olectl.h>

#include "support/com.h"

namespace {

// Of the library that is registered, which is also the one in use.
template <class Function>
Function* entryPoint(const char* name) {
  newCollection();
  return reinterpret_cast<Function*>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ZSupport.dll"), name)));
}

ComPtr<IClassFactory> classFactory() {
  ComPtr<IClassFactory> factory;
  EXPECT_EQ(S_OK, CoGetClassObject(__uuidof(Zollection), CLSCTX_INPROC_SERVER, nullptr,
                                   IID_IClassFactory, factory.putVoid()));
  return factory;
}

TEST(Server, TellsWhetherObjectsOfItAreAlive) {
  auto* const canUnload = entryPoint<decltype(DllCanUnloadNow)>("DllCanUnloadNow");
  EXPECT_EQ(S_OK, canUnload()) << "an earlier test has leaked an object";
  EXPECT_EQ(S_FALSE, (newCollection(), canUnload()));
  {
    const auto factory = classFactory();
    EXPECT_EQ(S_FALSE, canUnload());
    EXPECT_EQ(S_OK, factory->LockServer(TRUE));
  }
  EXPECT_EQ(S_FALSE, canUnload());
  EXPECT_EQ(S_OK, classFactory()->LockServer(FALSE));
  EXPECT_EQ(S_OK, canUnload());
}

TEST(Server, GivesObjectsTheInterfacesOfAnEventSource) {
  const auto factory = classFactory();
  void* object = &object;
  EXPECT_EQ(CLASS_E_NOAGGREGATION, factory->CreateInstance(factory.get(), IID_IUnknown, &object));
  EXPECT_EQ(nullptr, object);
  EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE, entryPoint<decltype(DllGetClassObject)>("DllGetClassObject")(
                                           IID_IUnknown, IID_IUnknown, &object));

  const auto z = newCollection();
  const auto identity = ComPtr<IUnknown>::from(z.get());
  for (const IID& id :
       {IID_IDispatch, __uuidof(_Zollection), __uuidof(_Collection), IID_IProvideClassInfo,
        IID_IProvideClassInfo2, IID_IConnectionPointContainer, IID_ISupportErrorInfo}) {
    const auto face = ComPtr<IUnknown>::from(z.get(), id);
    ASSERT_TRUE(face);
    EXPECT_EQ(identity.get(), ComPtr<IUnknown>::from(face.get()).get());
  }
  EXPECT_FALSE(ComPtr<IUnknown>::from(z.get(), IID_IPersist));
  GUID id;
  ComPtr<IProvideClassInfo2>::from(z.get())->GetGUID(GUIDKIND_DEFAULT_SOURCE_DISP_IID, &id);
  EXPECT_EQ(__uuidof(__Zollection), id);

  const auto container = ComPtr<IConnectionPointContainer>::from(z.get());
  ComPtr<IEnumConnectionPoints> points;
  ComPtr<IConnectionPoint> point;
  DWORD cookie = 7;
  ASSERT_EQ(S_OK, container->EnumConnectionPoints(points.put()));
  ASSERT_EQ(S_OK, points->Next(1, point.put(), &cookie));
  EXPECT_EQ(S_OK, point->GetConnectionInterface(&id));
  EXPECT_EQ(__uuidof(__Zollection), id);
  EXPECT_EQ(CONNECT_E_CANNOTCONNECT, point->Advise(points.get(), &cookie));
  EXPECT_EQ(CONNECT_E_NOCONNECTION, point->Unadvise(1));
  EXPECT_EQ(CONNECT_E_NOCONNECTION, container->FindConnectionPoint(IID_IDispatch, point.put()));
}

// How many keys are in a key of the user's, -1 when it is not there.
int keysIn(const std::wstring& path) {
  HKEY key;
  if (RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, &key)) return -1;
  DWORD count = 0;
  RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr, nullptr,
                   nullptr, nullptr, nullptr);
  RegCloseKey(key);
  return static_cast<int>(count);
}

// Registration writes below HKEY_CURRENT_USER here, which is a key of the test's own.
TEST(Server, IsUnregisteredWholeAndLeavesNoTraceOfAFailedRegistration) {
  constexpr wchar_t kSandbox[] = L"Software\\ZSupportTestSandbox";
  const std::wstring classes = L"Software\\Classes", types = classes + L"\\TypeLib",
                     taken = classes + L"\\ZSupport.Zollection";
  auto* const install = entryPoint<HRESULT WINAPI(BOOL, LPCWSTR)>("DllInstall");
  HKEY sandbox, obstacle;
  ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyW(HKEY_CURRENT_USER, kSandbox, &sandbox));
  RegOverridePredefKey(HKEY_CURRENT_USER, sandbox);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(S_OK, install(true, L"user"));
  EXPECT_LT(0, keysIn(classes));
  for (int i = 0; i < 2; ++i) EXPECT_EQ(S_OK, install(false, L"user"));
  EXPECT_EQ(0, keysIn(classes));
  EXPECT_EQ(E_INVALIDARG, install(true, L"nobody"));

  RegSetKeyValueW(HKEY_CURRENT_USER, taken.c_str(), nullptr, REG_SZ, L"mine", 10);
  // Below a volatile key, only volatile keys can be created: the attempt fails on the way.
  RegCreateKeyExW(HKEY_CURRENT_USER, types.c_str(), 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS,
                  nullptr, &obstacle, nullptr);
  RegCloseKey(obstacle);
  EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_CHILD_MUST_BE_VOLATILE), install(true, L"user"));
  wchar_t left[9] = {};
  DWORD size = sizeof left;
  RegGetValueW(HKEY_CURRENT_USER, taken.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, left, &size);
  EXPECT_STREQ(L"mine", left);
  EXPECT_EQ(std::tuple(2, 0, 0), std::tuple(keysIn(classes), keysIn(taken), keysIn(types)));

  RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
  RegCloseKey(sandbox);
  RegDeleteTreeW(HKEY_CURRENT_USER, kSandbox);
}

}  // namespace
