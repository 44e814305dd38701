// Calls through IDispatch::Invoke that no program would make: nothing may crash, every failure is
// told in the documented way, and a caller's variables stay whole, and what they were unless the
// member writes them.
//
// ZSUPPORT_FUZZ_SEED and ZSUPPORT_FUZZ_ROUNDS choose other calls; a failure names the seed of its
// round, which alone repeats it.
#include <cstdlib>
#include <set>

#include "support/odd_arguments.h"
#include "support/test_source.h"
#include "support/type_info.h"
#include "support/value_object.h"

namespace {

constexpr int kCallsARound = 100;

unsigned long setting(const char* name, unsigned long preset) {
  const char* const text = std::getenv(name);
  return text ? std::strtoul(text, nullptr, 10) : preset;
}

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
  const std::set<HRESULT> general = {S_OK,          E_INVALIDARG, E_OUTOFMEMORY, E_POINTER,
                                     E_NOINTERFACE, E_NOTIMPL,    E_FAIL,        E_ACCESSDENIED};
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

void collectMembers(IDispatch* object, std::vector<Member>& members) {
  ComPtr<ITypeInfo> info;
  ASSERT_EQ(S_OK, object->GetTypeInfo(0, 0, info.put()));
  forEachMember(info.get(), [&](const FUNCDESC& function) {
    Text name;
    info->GetDocumentation(function.memid, name.inout(), nullptr, nullptr, nullptr);
    if (kLeftOut.contains(std::wstring(name.view()))) return;
    members.emplace_back(object, function.memid, std::wstring(name.view()),
                         static_cast<size_t>(function.cParams));
  });
}

class Round {
 public:
  explicit Round(unsigned long seed) : seed_(seed), random_(seed) {
    for (const auto* key : {L"k1", L"k2", L"k3"}) {
      EXPECT_EQ(S_OK, add(z_.get(), TestSource::make().get(), {key}));
    }
    collectMembers(z_.get(), members_);
    collectMembers(face_.get(), members_);
    collectMembers(support_.get(), members_);
  }

  Round(const Round&) = delete;
  Round& operator=(const Round&) = delete;
  ~Round() { EXPECT_EQ(S_OK, z_->Clear()); }  // it may be an item of its own

  void run() {
    for (int call = 0; call < kCallsARound && !testing::Test::HasFailure(); ++call) {
      Member member = members_[upTo(members_.size() - 1)];
      if (upTo(30) == 0) member.id = static_cast<DISPID>(random_());
      const auto trace = testing::Message()
                         << "seed " << seed_ << ", call " << call << ", " << member.name;
      SCOPED_TRACE(trace);
      invoke(member);
    }
  }

 private:
  size_t upTo(size_t most) { return random_() % (most + 1); }

  std::vector<DISPID> someNames(size_t arguments) {
    std::vector<DISPID> names;
    if (upTo(7) > 0) return names;
    for (size_t i = upTo(arguments); i > 0; --i) {
      names.push_back(upTo(5) ? static_cast<DISPID>(upTo(5))
                              : DISPID_PROPERTYPUT - DISPID(upTo(1)));
    }
    return names;
  }

  void invoke(const Member& member) {
    const size_t count = upTo(3) ? member.parameters : upTo(7);
    OddArguments arguments(random_, count, {z_.get(), support_.get()});
    std::vector<DISPID> names = someNames(count);
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
    const bool isResultWanted = upTo(3) > 0, isFailureWanted = upTo(3) > 0;
    const HRESULT outcome = member.object->Invoke(
        member.id, upTo(200) ? IID_NULL : IID_IDispatch, LOCALE_USER_DEFAULT,
        kFlags[upTo(std::size(kFlags) - 1)], upTo(200) ? &parameters : nullptr,
        isResultWanted ? result.put() : nullptr, isFailureWanted ? &exception : nullptr, &bad);
    EXPECT_TRUE(isDocumented(outcome)) << std::hex << outcome;
    EXPECT_TRUE(bad == kNone || bad < std::max<size_t>(count, 1)) << bad;
    EXPECT_TRUE(SUCCEEDED(outcome) || V_VT(&result.get()) == VT_EMPTY) << std::hex << outcome;
    if (outcome == DISP_E_EXCEPTION && isFailureWanted) {
      EXPECT_TRUE(FAILED(exception.scode) && isDocumented(exception.scode))
          << std::hex << exception.scode;
      EXPECT_TRUE(SysStringLen(exception.bstrSource) > 0);
      EXPECT_TRUE(SysStringLen(exception.bstrDescription) > 0);
    }
    for (const BSTR text :
         {exception.bstrSource, exception.bstrDescription, exception.bstrHelpFile})
      SysFreeString(text);
    if (member.name == L"GetTempFileName2" && V_VT(&result.get()) == VT_BSTR)
      DeleteFileW(V_BSTR(&result.get()));
    for (size_t i = 0; i < count; ++i) {
      const size_t parameter = i < names.size() ? static_cast<size_t>(names[i]) : count - 1 - i;
      if (kWritten.contains({member.name, parameter})) continue;
      EXPECT_TRUE(arguments.isUntouched(i)) << "argument " << i << ", parameter " << parameter;
    }
  }

  const unsigned long seed_;
  Random random_;
  const ComPtr<_Zollection> z_ = newCollection();
  const ComPtr<_Collection> face_ = ComPtr<_Collection>::from(z_.get());
  const ComPtr<_GZSupport> support_ = newSupport();
  std::vector<Member> members_;
};

TEST(LateBinding, StandsAnyCall) {
  const unsigned long first = setting("ZSUPPORT_FUZZ_SEED", 1),
                      rounds = setting("ZSUPPORT_FUZZ_ROUNDS", 200);
  for (unsigned long seed = first; seed < first + rounds && !HasFailure(); ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    const auto body = [&] { Round(seed).run(); };
    // A new thread does not raise errors yet: what fails is over in silence.
    seed % 2 ? onFreshThread(body) : body();
    EXPECT_EQ(0, ValueObject::alive);
    EXPECT_EQ(0, TestSource::alive);
  }
}

}  // namespace
