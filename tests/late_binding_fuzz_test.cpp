// Calls through IDispatch::Invoke that no program would make: nothing may crash, every failure is
// told in the documented way, and a caller's variables stay whole, and what they were unless the
// member writes them.
//
// ZSUPPORT_FUZZ_SEED and ZSUPPORT_FUZZ_ROUNDS choose other calls; a failure names the seed of its
// round, which alone repeats it.
#include <windows.h>

#include <initguid.h>
#include <set>

#include "support/odd_arguments.h"
#include "support/type_info.h"

namespace {

// What the fuzz must not call.
const std::set<std::wstring> kLeftOut = {
    L"CenterWindow",           // moves any window
    L"SendData",               // sends to any window, all of them among others
    L"NotImplemented",         // a message box
    L"WriteRegistryValue",     // writes anywhere; a question
    L"GetComponentLocation2",  // installs; a question
};

// Parameters that members write, arrays included.
const std::set<std::pair<std::wstring, size_t>> kWritten = {
    {L"GetRegistryValue", 3}, {L"GetTempFileName2", 0}, {L"AddSVParameter", 0},
    {L"AddSVParameter", 1},   {L"ArrayBounds", 1},
};

bool isDocumented(HRESULT result) {
  static const std::set<HRESULT> general = {S_OK,      E_INVALIDARG,  E_OUTOFMEMORY,
                                            E_POINTER, E_NOINTERFACE, E_NOTIMPL,
                                            E_FAIL,    E_ACCESSDENIED};
  const ULONG kind = static_cast<ULONG>(result) & 0xFFFF0000;
  const bool isOurs = kind == 0x800A0000 || kind == 0x80040000;  // the latter of wecErrors
  const bool isDispatch = result >= DISP_E_UNKNOWNINTERFACE && result <= DISP_E_BUFFERTOOSMALL;
  return general.contains(result) || isOurs || isDispatch;
}

struct Member {
  IDispatch* object;
  DISPID id;
  std::wstring name;
  size_t parameters;
};

class Round {
 public:
  explicit Round(unsigned seed) : random_(seed) {
    for (const auto* key : {L"k1", L"k2", L"k3"}) {
      EXPECT_EQ(S_OK, add(z_.get(), TestSource::make().get(), {key}));
    }
    for (IDispatch* object :
         std::initializer_list<IDispatch*>{z_.get(), face_.get(), support_.get()}) {
      ComPtr<ITypeInfo> info;
      EXPECT_EQ(S_OK, object->GetTypeInfo(0, 0, info.put()));
      forEachMember(info.get(), [&](const FUNCDESC& function) {
        Text text;
        info->GetDocumentation(function.memid, text.inout(), nullptr, nullptr, nullptr);
        const std::wstring name(text.view());
        if (kLeftOut.contains(name)) return;
        members_.emplace_back(object, function.memid, name, static_cast<size_t>(function.cParams));
      });
    }
  }

  void run() {
    for (int call = 0; call < 100 && !testing::Test::HasFailure(); ++call) {
      Member member = members_[upTo(members_.size() - 1)];
      if (upTo(30) == 0) member.id = static_cast<DISPID>(random_());
      SCOPED_TRACE(testing::Message() << "call " << call << ", " << member.name);
      invoke(member);
    }
    EXPECT_EQ(S_OK, z_->Clear());  // it may be an item of its own
  }

 private:
  size_t upTo(size_t most) { return random_() % (most + 1); }

  void invoke(const Member& member) {
    const size_t count = upTo(3) ? member.parameters : upTo(7);
    OddArguments arguments(random_, count, {z_.get(), support_.get()});
    std::vector<DISPID> names(upTo(7) ? 0 : upTo(count));
    for (DISPID& name : names) {
      name = upTo(5) ? static_cast<DISPID>(upTo(5)) : DISPID_PROPERTYPUT - DISPID(upTo(1));
    }
    DISPPARAMS parameters = {arguments.list.data(), names.data(), static_cast<UINT>(count),
                             static_cast<UINT>(names.size())};
    if (upTo(200) == 0) parameters.rgvarg = nullptr;
    if (upTo(200) == 0) parameters.cNamedArgs = static_cast<UINT>(count) + 1;
    constexpr WORD kFlags[] = {DISPATCH_METHOD,      DISPATCH_PROPERTYGET,    3, 3,
                               DISPATCH_PROPERTYPUT, DISPATCH_PROPERTYPUTREF, 0, 15};
    constexpr UINT kNone = 99;
    Variant result;
    EXCEPINFO exception{};
    UINT bad = kNone;
    const bool isFailureWanted = upTo(3) > 0;
    const HRESULT outcome = member.object->Invoke(
        member.id, upTo(200) ? IID_NULL : IID_IDispatch, LOCALE_USER_DEFAULT, kFlags[upTo(7)],
        upTo(200) ? &parameters : nullptr, upTo(3) ? result.put() : nullptr,
        isFailureWanted ? &exception : nullptr, &bad);
    EXPECT_TRUE(isDocumented(outcome)) << std::hex << outcome;
    EXPECT_TRUE(bad == kNone || bad < std::max<size_t>(count, 1)) << bad;
    EXPECT_TRUE(SUCCEEDED(outcome) || V_VT(&result.get()) == VT_EMPTY);
    if (outcome == DISP_E_EXCEPTION && isFailureWanted) {
      EXPECT_TRUE(FAILED(exception.scode) && isDocumented(exception.scode))
          << std::hex << exception.scode;
      EXPECT_NE(0u, SysStringLen(exception.bstrSource));
      EXPECT_NE(0u, SysStringLen(exception.bstrDescription));
    }
    for (const BSTR text :
         {exception.bstrSource, exception.bstrDescription, exception.bstrHelpFile}) {
      SysFreeString(text);
    }
    if (member.name == L"GetTempFileName2" && V_VT(&result.get()) == VT_BSTR) {
      DeleteFileW(V_BSTR(&result.get()));
    }
    for (size_t i = 0; i < count; ++i) {
      const size_t parameter = i < names.size() ? static_cast<size_t>(names[i]) : count - 1 - i;
      if (kWritten.contains({member.name, parameter})) continue;
      EXPECT_TRUE(arguments.isUntouched(i)) << "argument " << i << ", parameter " << parameter;
    }
  }

  std::mt19937 random_;
  const ComPtr<_Zollection> z_ = newCollection();
  const ComPtr<_Collection> face_ = ComPtr<_Collection>::from(z_.get());
  const ComPtr<_GZSupport> support_ = newSupport();
  std::vector<Member> members_;
};

TEST(LateBinding, StandsAnyCall) {
  const unsigned first = setting("ZSUPPORT_FUZZ_SEED", 1);
  const unsigned end = first + setting("ZSUPPORT_FUZZ_ROUNDS", 200);
  for (unsigned seed = first; seed < end && !HasFailure(); ++seed) {
    const auto body = [&] {
      SCOPED_TRACE(testing::Message() << "seed " << seed);
      Round(seed).run();
    };
    // A new thread does not raise errors yet: what fails is over in silence.
    seed % 2 ? onFreshThread(body) : body();
    EXPECT_EQ(0, ValueObject::alive);
    EXPECT_EQ(0, TestSource::alive);
  }
}

}  // namespace
