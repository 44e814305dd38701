// Installed parts: against the platform's installer, and against one that a test puts in its place.
#include "support/answer.h"
#include "support/com.h"
#include "support/dispatch_stub.h"

namespace {

constexpr wchar_t kProduct[] = L"{5C1D7A7E-3A52-4B0C-9E0E-0D6C1B2A3F41}";
constexpr wchar_t kFile[] = L"{A1B7C9D2-64E0-4F3A-8C5B-7E1D0F2A9B63}";
constexpr wchar_t kNobody[] = L"{00000000-1111-2222-3333-444444444444}";
constexpr wchar_t kQuestion[] =
    L"You are trying to use a component that is not currently installed.\r\nDo you wish to install "
    L"it now?";

// The package lies next to this program.
void runInstaller(const wchar_t* action) {
  wchar_t self[MAX_PATH];
  GetModuleFileNameW(nullptr, self, MAX_PATH);
  const std::wstring folder(self, wcsrchr(self, L'\\'));
  const std::wstring command = std::wstring(action) + L" \"" + folder + L"\\part.msi\" /qn";
  EXPECT_EQ(0, _wsystem(command.c_str()));
}

// Instead of the platform's object, in this apartment: answers in turn, and tells what it was
// asked: a level that is set by its number, the part's path by "?", or "any?" without a product.
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
    *object = id == IID_IDispatch ? static_cast<void*>(static_cast<IDispatch*>(this))
                                  : static_cast<IClassFactory*>(this);
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID, void** object) override {
    return QueryInterface(IID_IDispatch, object);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS* given,
                                   VARIANT* result, EXCEPINFO*, UINT*) override {
    const VARIANT* const lastFirst = given->rgvarg;
    if (member == 6 && flags == DISPATCH_PROPERTYPUT) {
      asked += std::to_wstring(V_I4(lastFirst));
      return S_OK;
    }
    if (member != 31 || flags != DISPATCH_PROPERTYGET || paths_.empty())
      return DISP_E_MEMBERNOTFOUND;
    EXPECT_STREQ(kFile, V_BSTR(&lastFirst[0]));
    const auto product = zsupport::viewOf(V_BSTR(&lastFirst[1]));
    asked += product == kProduct ? L"?" : product.empty() ? L"any?" : product;
    *result = makeValue(VT_BSTR, SysAllocString(paths_.front().c_str()));
    paths_.erase(paths_.begin());
    return S_OK;
  }

 private:
  std::vector<std::wstring> paths_;
  DWORD cookie_ = 0;
};

class Installed : public SupportTest {
 protected:
  static void SetUpTestSuite() { runInstaller(L"msiexec /i"); }
  static void TearDownTestSuite() { runInstaller(L"msiexec /x"); }
};

TEST_F(Installed, PartsTellOfTheirProducts) {
  for (const auto& [component, product] : {std::pair(kFile, kProduct), {kNobody, L""}}) {
    Text found;
    EXPECT_EQ(S_OK, support->GetComponentProductID(Text(component).inout(), found.inout()));
    EXPECT_EQ(product, found.view()) << component;
  }
  Text product(kProduct), nobody(kNobody), attribute(L"VersionString"), value;
  EXPECT_EQ(S_OK, support->GetProductInfo(product.inout(), attribute.inout(), value.inout()));
  EXPECT_EQ(L"1.2.3", value.view());
  LONG title = 2;
  EXPECT_EQ(S_OK, support->GetProductSummaryInfo(product.inout(), &title, value.inout()));
  EXPECT_EQ(L"Installation Database", value.view());
  EXPECT_TRUE(FAILED(support->GetProductSummaryInfo(nobody.inout(), &title, value.inout())));
  EXPECT_EQ(L"", value.view());
}

// Unless the registry says where they are.
TEST_F(Installed, PartsAreLocatedAndInstalledOnDemand) {
  constexpr wchar_t kOverrides[] = L"Software\\Zarnow Instruments Ltd.\\Components";
  RegSetKeyValueW(HKEY_CURRENT_USER, kOverrides, kNobody, REG_SZ, L"D:\\here", 16);
  const std::wstring at = L"C:\\part";
  struct Request {
    std::wstring product, prompt = {};
    LONG action = im_Fail;
    const wchar_t* component = kFile;
  };
  const Request plain{kProduct}, other{L"other"};
  const std::tuple<Request, int, std::vector<std::wstring>, std::wstring, Request, std::wstring>
      cases[] = {
          {plain, 0, {at}, at, plain, L"2?"},
          {{kProduct, {}, im_Prompt},
           IDYES,
           {L"", at},
           at,
           {kProduct, kQuestion, im_Install},
           L"2?1?"},
          {{kProduct, L"Now?", im_Prompt}, IDNO, {L""}, {}, {kProduct, L"Now?"}, L"2?"},
          {{}, 0, {}, {}, plain, L"2"},
          {{{}, {}, im_Install}, 0, {at}, at, {kProduct, {}, im_Install}, L"21any?"},
          {other, 0, {at}, at, other, L"2?"},
          {{kProduct, {}, im_Fail, kNobody}, 0, {}, L"D:\\here", plain, {}},
      };
  for (const auto& [given, button, paths, location, after, asked] : cases) {
    InstallerStandIn installer(paths);
    const Answer answer(button);
    Text component(given.component), product(given.product), prompt(given.prompt), path;
    LONG action = given.action;
    VARIANT_BOOL ignoresProduct = flag(given.product == L"other");
    EXPECT_EQ(S_OK, support->GetComponentLocation2(component.inout(), product.inout(), &action,
                                                   prompt.inout(), &ignoresProduct, path.inout()));
    EXPECT_EQ(std::tuple(location, after.product, after.action, after.prompt, asked),
              std::tuple(path.view(), product.view(), action, prompt.view(), installer.asked));
    EXPECT_EQ(after.prompt, Answer::question);
  }
  RegDeleteTreeW(HKEY_CURRENT_USER, kOverrides);
}

}  // namespace
