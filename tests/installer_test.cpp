// Installed parts: against the platform's installer, and against one that a test puts in its place.
#include "support/answer.h"
#include "support/com.h"
#include "support/dispatch_stub.h"

namespace {

constexpr wchar_t kProduct[] = L"{5C1D7A7E-3A52-4B0C-9E0E-0D6C1B2A3F41}";
constexpr wchar_t kFile[] = L"{A1B7C9D2-64E0-4F3A-8C5B-7E1D0F2A9B63}";
constexpr wchar_t kKey[] = L"{B2C8D0E3-75F1-4A4B-9D6C-8F2E1A3B0C74}";
constexpr wchar_t kNobody[] = L"{00000000-1111-2222-3333-444444444444}";
constexpr wchar_t kQuestion[] =
    L"You are trying to use a component that is not currently installed.\r\nDo you wish to install "
    L"it now?";

// The package lies next to this program.
void runInstaller(const wchar_t* action) {
  wchar_t self[MAX_PATH];
  GetModuleFileNameW(nullptr, self, MAX_PATH);
  const std::wstring folder(self, wcsrchr(self, L'\\'));
  EXPECT_EQ(
      0, _wsystem(
             (L"msiexec " + std::wstring(action) + L" \"" + folder + L"\\part.msi\" /qn").c_str()));
}

// Instead of the platform's object, in this apartment: tells what it was asked, and answers in
// turn.
class InstallerStandIn final : public DispatchStub, public IClassFactory {
 public:
  explicit InstallerStandIn(std::vector<std::wstring> paths) : paths_(std::move(paths)) {
    CLSID classId;
    EXPECT_EQ(S_OK, CLSIDFromProgID(L"WindowsInstaller.Installer", &classId));
    EXPECT_EQ(S_OK, CoRegisterClassObject(classId, static_cast<IClassFactory*>(this),
                                          CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie_));
  }
  InstallerStandIn(const InstallerStandIn&) = delete;
  InstallerStandIn& operator=(const InstallerStandIn&) = delete;
  ~InstallerStandIn() { CoRevokeClassObject(cookie_); }
  std::wstring asked;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    *object = id == IID_IClassFactory ? static_cast<void*>(static_cast<IClassFactory*>(this))
              : id == IID_IDispatch || id == IID_IUnknown ? static_cast<IDispatch*>(this)
                                                          : nullptr;
    return *object ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID id, void** object) override {
    return QueryInterface(id, object);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS* given,
                                   VARIANT* result, EXCEPINFO*, UINT*) override {
    const VARIANT* const lastFirst = given->rgvarg;
    if (member == 6 && flags == DISPATCH_PROPERTYPUT &&
        given->rgdispidNamedArgs[0] == DISPID_PROPERTYPUT) {
      asked += L"level " + std::to_wstring(V_I4(lastFirst)) + L";";
      return S_OK;
    }
    if (member != 31 || flags != DISPATCH_PROPERTYGET || paths_.empty())
      return DISP_E_MEMBERNOTFOUND;
    asked += L"path " + std::wstring(zsupport::viewOf(V_BSTR(&lastFirst[1]))) + L" " +
             V_BSTR(&lastFirst[0]) + L";";
    V_VT(result) = VT_BSTR;
    V_BSTR(result) = SysAllocString(paths_.front().c_str());
    paths_.erase(paths_.begin());
    return S_OK;
  }

 private:
  std::vector<std::wstring> paths_;
  DWORD cookie_ = 0;
};

class Installed : public SupportTest {
 protected:
  static void SetUpTestSuite() { runInstaller(L"/i"); }
  static void TearDownTestSuite() { runInstaller(L"/x"); }

  struct Request {
    std::wstring component = kFile, product = kProduct;
    LONG action = im_Fail;
    std::wstring prompt = {};
    bool ignoresProduct = false;
  };
  // Changes the request as the member changes its caller's variables.
  static HRESULT locate(_GZSupport* support, Request& request, std::wstring& location) {
    Text component(request.component), product(request.product), prompt(request.prompt), path;
    VARIANT_BOOL ignore = flag(request.ignoresProduct);
    const HRESULT result = support->GetComponentLocation2(
        component.inout(), product.inout(), &request.action, prompt.inout(), &ignore, path.inout());
    request.product = product.view();
    request.prompt = prompt.view();
    location = path.view();
    return result;
  }
};

TEST_F(Installed, PartsTellOfTheirProducts) {
  for (const auto& [component, product] :
       {std::pair(kFile, kProduct), {kKey, kProduct}, {kNobody, L""}, {L"no code", L""}}) {
    Text found;
    EXPECT_EQ(S_OK, support->GetComponentProductID(Text(component).inout(), found.inout()));
    EXPECT_EQ(product, found.view()) << component;
  }
  Text version;
  EXPECT_EQ(S_OK, support->GetProductInfo(Text(kProduct).inout(), Text(L"VersionString").inout(),
                                          version.inout()));
  EXPECT_EQ(L"1.2.3", version.view());
  const std::pair<LONG, std::wstring> summary[] = {
      {2, L"Installation Database"}, {5, L"test,part"}, {9, L"{"}};
  for (auto [property, expected] : summary) {
    Text value;
    EXPECT_EQ(S_OK,
              support->GetProductSummaryInfo(Text(kProduct).inout(), &property, value.inout()));
    EXPECT_TRUE(value.view().starts_with(expected)) << value.get();
  }
  Text value;
  LONG title = 2;
  EXPECT_TRUE(FAILED(support->GetProductSummaryInfo(Text(kNobody).inout(), &title, value.inout())));
  EXPECT_TRUE(value.view().empty());
}

TEST_F(Installed, PartsAreLocatedAndInstalledOnDemand) {
  const std::wstring at = L"C:\\part", first = L"level 2;", now = L"level 1;";
  const std::wstring ask = L"path " + std::wstring(kProduct) + L" " + kFile + L";",
                     any = L"path  " + std::wstring(kFile) + L";";
  Request plain, install{.action = im_Install}, prompt{.action = im_Prompt},
      nowPrompt{.action = im_Prompt, .prompt = L"Now?"};
  Request noProduct{.product = L""}, newProduct{.product = L"", .action = im_Install};
  Request otherProduct{.product = L"other", .ignoresProduct = true};
  const std::tuple<Request, int, std::vector<std::wstring>, std::wstring, std::wstring,
                   std::wstring, std::wstring, LONG>
      cases[] = {
          {plain, 0, {at}, at, kProduct, L"", first + ask, im_Fail},
          {install, 0, {L"", at}, at, kProduct, L"", first + ask + now + ask, im_Install},
          {prompt, IDYES, {L"", at}, at, kProduct, kQuestion, first + ask + now + ask, im_Install},
          {nowPrompt, IDNO, {L""}, L"", kProduct, L"Now?", first + ask, im_Fail},
          {noProduct, 0, {}, L"", kProduct, L"", first, im_Fail},
          {newProduct, 0, {at}, at, kProduct, L"", first + now + any, im_Install},
          {otherProduct, 0, {at}, at, L"other", L"", first + ask, im_Fail},
      };
  for (const auto& [given, button, paths, location, product, question, asked, action] : cases) {
    InstallerStandIn installer(paths);
    const Answer answer(button);
    Request request = given;
    std::wstring found;
    EXPECT_EQ(S_OK, locate(support.get(), request, found));
    EXPECT_EQ(std::tuple(location, product, action, question, asked),
              std::tuple(found, request.product, request.action, request.prompt, installer.asked));
    EXPECT_EQ(button ? question : L"", Answer::question);
  }
}

TEST_F(Installed, PartsAreWhereTheRegistrySays) {
  constexpr wchar_t kOverrides[] = L"Software\\Zarnow Instruments Ltd.\\Components";
  RegSetKeyValueW(HKEY_CURRENT_USER, kOverrides, kFile, REG_SZ, L"D:\\here", 16);
  InstallerStandIn installer({});
  Request request;
  std::wstring location;
  EXPECT_EQ(S_OK, locate(support.get(), request, location));
  EXPECT_EQ(L"D:\\here", location);
  EXPECT_EQ(L"", installer.asked);
  RegDeleteTreeW(HKEY_CURRENT_USER, kOverrides);
}

}  // namespace
