// Late-bound callers: every form in which arguments come, and what goes back into them.

#include "support/answer.h"
#include "support/late_call.h"
#include "support/test_source.h"

namespace {

class LateBound : public testing::Test {
 protected:
  HRESULT invoke(std::wstring name, int flags, std::vector<VARIANT> arguments,
                 std::vector<DISPID> names = {}) {
    last.make(z.get(), idOf(z.get(), name), flags, std::move(arguments), std::move(names));
    return last.result;
  }
  LONG lastLong() { return V_VT(&last.value.get()) == VT_I4 ? V_I4(&last.value.get()) : -99; }

  ComPtr<_Zollection> z = newCollection();
  ComPtr<TestSource> item = TestSource::make();
  Call last{};
};

TEST_F(LateBound, TakesArgumentsByPositionNameAndDefault) {
  const Text key(L"k");
  enum { kItem, kSourceIID, kKey, kBefore, kAfter };
  const VARIANT object = objectValue(item.get()), one = longValue(1);
  EXPECT_EQ(S_OK, invoke(L"Add", DISPATCH_METHOD, {object}));
  EXPECT_EQ(S_OK, invoke(L"Add", DISPATCH_METHOD, {object, one, textValue(key)}, {kBefore, kKey}));
  EXPECT_EQ(S_OK, invoke(L"IndexFromKey", DISPATCH_METHOD, {textValue(key)}));
  EXPECT_EQ(1, lastLong());
}

TEST_F(LateBound, RefusesWhatDoesNotFitAndCallsNothing) {
  const Text word(L"word");
  const VARIANT one = longValue(1), text = textValue(word);
  constexpr int kCall = DISPATCH_METHOD, kPut = DISPATCH_PROPERTYPUT;
  const std::tuple<const wchar_t*, int, std::vector<VARIANT>, std::vector<DISPID>, HRESULT, UINT>
      cases[] = {
          {L"Add", kCall, {}, {}, DISP_E_BADPARAMCOUNT, 0},
          {L"Add", kCall, std::vector<VARIANT>(6, one), {}, DISP_E_BADPARAMCOUNT, 0},
          {L"Add", kCall, {missing(), text}, {}, DISP_E_PARAMNOTOPTIONAL, 1},
          {L"Add", kCall, {one}, {77}, DISP_E_PARAMNOTFOUND, 0},
          {L"ItemByIndex", kCall, {doubleValue(1e10)}, {}, DISP_E_OVERFLOW, 0},
          {L"ItemByIndex", kCall, {reference(VT_VARIANT, nullptr)}, {}, DISP_E_TYPEMISMATCH, 0},
          {L"ItemByIndex", kCall, {reference(VT_I4, nullptr)}, {}, DISP_E_TYPEMISMATCH, 0},
          {L"Key", kPut, {text, text}, {DISPID_PROPERTYPUT}, DISP_E_TYPEMISMATCH, 1},
          {L"Count", kPut, {one}, {DISPID_PROPERTYPUT}, DISP_E_MEMBERNOTFOUND, 99},
          {L"Clear", 0, {}, {}, DISP_E_MEMBERNOTFOUND, 99},
      };
  ASSERT_EQ(S_OK, add(z.get(), item.get()));
  for (const auto& [member, flags, arguments, names, result, bad] : cases) {
    last.badArgument = 99;
    EXPECT_EQ(result, invoke(member, flags, arguments, names)) << member;
    EXPECT_EQ(bad, last.badArgument) << member;
    EXPECT_EQ(1, countOf(z.get()));
  }
  LPOLESTR names[] = {const_cast<LPOLESTR>(L"ADD"), const_cast<LPOLESTR>(L"after")};
  DISPID ids[2];
  EXPECT_EQ(S_OK, z->GetIDsOfNames(IID_NULL, names, 2, 0, ids));
  EXPECT_EQ(4, ids[1]);
}

// bNoPolicySet comes back as True into whatever the caller has.
TEST(LateBoundReferences, ReturnValuesInTheCallersOwnForm) {
  const auto support = newSupport();
  const Text name(L"no such value"), section(L"Software\\NoSuchCompany");
  VARIANT_BOOL boolean = VARIANT_FALSE;
  LONG number = 7;
  DECIMAL decimal{};
  VARIANT empty = valueOfType(VT_EMPTY), inner = reference(VT_I4, &number);
  for (const VARIANT& place :
       {reference(VT_BOOL, &boolean), reference(VT_VARIANT, &empty), reference(VT_VARIANT, &inner),
        reference(VT_DECIMAL, &decimal), valueOfType(VT_BOOL), missing()}) {
    const Call get(support.get(), L"GetRegistryValue",
                   {textValue(name), longValue(42), textValue(section), place});
    EXPECT_EQ(S_OK, get.result) << V_VT(&place);
    EXPECT_EQ(42, V_I4(&get.value.get()));
  }
  EXPECT_EQ(VARIANT_TRUE, boolean);
  EXPECT_EQ(VT_BOOL, V_VT(&empty)) << "a variable takes the value as it is";
  EXPECT_EQ(-1, number) << "a Long takes it as a Long";
  EXPECT_EQ(1u, decimal.Lo64);
}

// A script's variable, converted on its way in, changes only when the member writes it; then it
// does although the member fails.
using WrittenReferences = SupportTest;
TEST_F(WrittenReferences, ReachTheCallersVariable) {
  const HWND window =
      CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr);
  const LONG handle = reinterpret_cast<LONG>(window),
             desktop = reinterpret_cast<LONG>(GetDesktopWindow());
  const Text two(L"2"), three(L"3"), personal(L"005"), none(L"none"),
      section(L"Software\\ZSupport-no-such-key");
  VARIANT variable;
  const VARIANT it = reference(VT_VARIANT, &variable), here = textValue(section),
                nothing = textValue(none), empty = valueOfType(VT_EMPTY),
                null = valueOfType(VT_NULL), one = longValue(1);
  const struct {
    const wchar_t* member;
    std::vector<VARIANT> arguments;
    VARIANT before;
    std::wstring after;  // behind its type
    int answer = 0;
    HRESULT result = S_OK;
  } cases[] = {
      {L"GetFolderPath", {it}, textValue(personal), L"8 005"},
      {L"GetROTObject", {nothing, longValue(0), it}, one, L"3 1"},
      {L"JoinLongs", {valueOfType(VT_ARRAY | VT_I4), it}, one, L"3 1", 0, DISP_E_EXCEPTION},
      {L"GetRegistryValue", {nothing, one, here, it}, longValue(-1), L"11 True"},
      {L"WriteRegistryValue", {nothing, one, one, it, here}, textValue(two), L"8 2"},
      {L"WriteRegistryValue",
       {nothing, null, one, it, here},
       textValue(three),
       L"3 1",
       IDNO,
       DISP_E_EXCEPTION},
      {L"CenterWindow", {longValue(handle), it}, empty, L"3 " + std::to_wstring(desktop)},
      {L"NotImplemented", {nothing, it}, one, L"8 1 - none", IDOK},
      {L"GetComponentLocation2",
       {nothing, empty, it, one},
       textValue(two),
       L"3 3",
       IDYES,
       DISP_E_EXCEPTION},
      {L"GetComponentLocation2",
       {nothing, empty, longValue(2), it},
       empty,
       L"8 You are trying to use a component that is not currently installed.\r\n"
       L"Do you wish to install it now?",
       IDYES,
       DISP_E_EXCEPTION},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.member << " " << &c - cases);
    const Answer answer(c.answer);
    VariantInit(&variable);
    VariantCopy(&variable, const_cast<VARIANT*>(&c.before));
    const Call call(support.get(), c.member, c.arguments);
    EXPECT_EQ(c.result, call.result);
    EXPECT_EQ(c.result == S_OK, call.description.empty());
    EXPECT_EQ(c.after, std::to_wstring(V_VT(&variable)) + L" " +
                           std::wstring(zsupport::toText(variable).view()));
    VariantClear(&variable);
  }
  DestroyWindow(window);
  RegDeleteKeyW(HKEY_CURRENT_USER, section.get());
}

TEST(Enumerator, DeliversOneItemACallFromALiveViewOfFrozenLength) {
  auto z = newCollection();
  ComPtr<IEnumVARIANT> items;
  std::vector<ComPtr<TestSource>> sources;
  const auto nextIs = [&](TestSource* expected) {
    ULONG fetched = 7;
    VARIANT value[3] = {};
    EXPECT_EQ(expected ? S_OK : S_FALSE, items->Next(3, value, &fetched));
    EXPECT_EQ(expected ? 1u : 0u, fetched);
    EXPECT_EQ(static_cast<IDispatch*>(expected), V_DISPATCH(&value[0]));
    VariantClear(&value[0]);
  };
  for (int i = 0; i < 4; ++i) {
    sources.push_back(TestSource::make());
    ASSERT_EQ(S_OK, add(z.get(), sources.back().get()));
    if (i == 2) z->NewEnum(items.put());
  }
  for (const size_t i : {0u, 1u, 2u}) nextIs(sources[i].get());
  nextIs(nullptr);
  EXPECT_EQ(S_OK, items->Reset());
  EXPECT_EQ(S_OK, items->Skip(2));
  nextIs(sources[2].get());
  EXPECT_EQ(runtimeError(6), items->Skip(0xFFFFFFFF));

  items->Reset();
  ASSERT_EQ(S_OK, z->RemoveByIndex(1));
  nextIs(sources[1].get());
  ASSERT_EQ(S_OK, z->Clear());
  nextIs(nullptr);
  z.reset();
  items->Reset();
  nextIs(nullptr);  // long after the collection
}

}  // namespace
