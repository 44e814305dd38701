// The library as a server: entry points, class factory, identity, registration, type library.
#include <windows.h>
#include <olectl.h>

#include <map>

#include "support/com.h"

namespace {

// The library that is registered, which is also the one in use.
HMODULE library() {
  static const HMODULE module = [] {
    newCollection();
    return GetModuleHandleW(L"ZSupport.dll");
  }();
  return module;
}

template <class Function>
Function* entryPoint(const char* name) {
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library(), name)));
}

ComPtr<IClassFactory> classFactory() {
  ComPtr<IClassFactory> factory;
  EXPECT_EQ(S_OK, CoGetClassObject(__uuidof(Zollection), CLSCTX_INPROC_SERVER, nullptr,
                                   IID_IClassFactory, factory.putVoid()));
  return factory;
}

TEST(Server, TellsWhetherObjectsOfItAreAlive) {
  auto* const canUnload = entryPoint<HRESULT WINAPI()>("DllCanUnloadNow");
  ASSERT_TRUE(canUnload);
  EXPECT_EQ(S_OK, canUnload()) << "an earlier test has leaked an object";
  EXPECT_EQ(S_FALSE, (newCollection(), canUnload()));
  EXPECT_EQ(S_OK, canUnload());
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
  auto* const getClassObject =
      entryPoint<HRESULT WINAPI(REFCLSID, REFIID, void**)>("DllGetClassObject");
  EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE, getClassObject(IID_IUnknown, IID_IUnknown, &object));

  const auto z = newCollection();
  const auto identity = ComPtr<IUnknown>::from(z.get());
  for (const IID& id :
       {IID_IDispatch, __uuidof(_Zollection), __uuidof(_Collection), IID_IProvideClassInfo,
        IID_IProvideClassInfo2, IID_IConnectionPointContainer, IID_ISupportErrorInfo}) {
    const auto face = ComPtr<IUnknown>::from(z.get(), id);
    ASSERT_TRUE(face);
    EXPECT_EQ(identity.get(), ComPtr<IUnknown>::from(face.get()).get()) << "one identity";
  }
  EXPECT_FALSE(ComPtr<IUnknown>::from(z.get(), IID_IPersist));
  GUID id;
  const auto info = ComPtr<IProvideClassInfo2>::from(z.get());
  EXPECT_EQ(S_OK, info->GetGUID(GUIDKIND_DEFAULT_SOURCE_DISP_IID, &id));
  EXPECT_EQ(__uuidof(__Zollection), id);

  const auto container = ComPtr<IConnectionPointContainer>::from(z.get());
  ComPtr<IEnumConnectionPoints> points;
  ComPtr<IConnectionPoint> point;
  DWORD cookie = 7;
  ASSERT_EQ(S_OK, container->EnumConnectionPoints(points.put()));
  ASSERT_EQ(S_OK, points->Next(1, point.put(), &cookie));
  EXPECT_EQ(S_OK, point->GetConnectionInterface(&id));
  EXPECT_EQ(__uuidof(__Zollection), id);
  EXPECT_EQ(CONNECT_E_CANNOTCONNECT, point->Advise(points.get(), &cookie)) << "no dispatch";
  EXPECT_EQ(CONNECT_E_NOCONNECTION, point->Unadvise(1));
  EXPECT_EQ(CONNECT_E_NOCONNECTION, container->FindConnectionPoint(IID_IDispatch, point.put()));
}

// Registration writes below HKEY_CURRENT_USER here, which is a key of the test's own.
class Registration : public testing::Test {
 protected:
  static constexpr wchar_t kSandbox[] = L"Software\\ZSupportTestSandbox";

  Registration() {
    RegDeleteTreeW(HKEY_CURRENT_USER, kSandbox);
    EXPECT_EQ(ERROR_SUCCESS, RegCreateKeyW(HKEY_CURRENT_USER, kSandbox, &sandbox_));
    EXPECT_EQ(ERROR_SUCCESS, RegOverridePredefKey(HKEY_CURRENT_USER, sandbox_));
  }
  ~Registration() override {
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    RegCloseKey(sandbox_);
    RegDeleteTreeW(HKEY_CURRENT_USER, kSandbox);
  }

  HRESULT install(bool on, const wchar_t* commandLine = L"user") {
    return entryPoint<HRESULT WINAPI(BOOL, LPCWSTR)>("DllInstall")(on, commandLine);
  }

  // All keys and values below a key: path, "@", name to text.
  static std::map<std::wstring, std::wstring> dump(HKEY root, const std::wstring& path) {
    std::map<std::wstring, std::wstring> all;
    HKEY key;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key)) return all;
    all[path] = L"";
    wchar_t name[256], text[512];
    for (DWORD i = 0;; ++i) {
      DWORD nameSize = 256, textSize = sizeof text, type;
      if (RegEnumValueW(key, i, name, &nameSize, nullptr, &type, reinterpret_cast<BYTE*>(text),
                        &textSize)) {
        break;
      }
      all[path + L"@" + name] = text;
    }
    for (DWORD i = 0; !RegEnumKeyW(key, i, name, 256); ++i)
      all.merge(dump(root, path + L"\\" + name));
    RegCloseKey(key);
    return all;
  }
  static std::map<std::wstring, std::wstring> written() {
    return dump(HKEY_CURRENT_USER, L"Software\\Classes");
  }

 private:
  HKEY sandbox_ = nullptr;
};

TEST_F(Registration, OfTheUserIsRemovedWhole) {
  ASSERT_EQ(S_OK, install(true));
  const auto keys = written();
  ASSERT_EQ(S_OK, install(true)) << "over itself";
  EXPECT_EQ(keys, written());
  for (int i = 0; i < 2; ++i) EXPECT_EQ(S_OK, install(false));
  EXPECT_EQ(1u, written().size()) << "left behind";
  EXPECT_EQ(E_INVALIDARG, install(true, L"nobody"));
}

TEST_F(Registration, ThatFailsLeavesNoTrace) {
  // Below a volatile key, only volatile keys can be created: the attempt fails on the way.
  HKEY obstacle;
  ASSERT_EQ(ERROR_SUCCESS,
            RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Classes\\TypeLib", 0, nullptr,
                            REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &obstacle, nullptr));
  RegCloseKey(obstacle);
  RegSetKeyValueW(HKEY_CURRENT_USER, L"Software\\Classes\\ZSupport.Zollection", nullptr, REG_SZ,
                  L"mine", 10);
  const auto before = written();
  EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_CHILD_MUST_BE_VOLATILE), install(true));
  EXPECT_EQ(before, written());
}

}  // namespace
