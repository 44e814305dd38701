// Late-bound callers: every form in which arguments come, and what goes back into them.

#include "support/answer.h"
#include "support/late_call.h"
#include "support/test_source.h"

namespace {

TEST(LateBound, RefusesWhatDoesNotFitAndCallsNothing) {
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
          {L"ItemByIndex", kCall, {reference(VT_I4, nullptr)}, {}, DISP_E_TYPEMISMATCH, 0},
          {L"Key", kPut, {text, text}, {DISPID_PROPERTYPUT}, DISP_E_TYPEMISMATCH, 1},
          {L"Count", kPut, {one}, {DISPID_PROPERTYPUT}, DISP_E_MEMBERNOTFOUND, 99},
          {L"Clear", 0, {}, {}, DISP_E_MEMBERNOTFOUND, 99},
      };
  const auto z = newCollection();
  const auto item = TestSource::make();
  enum { kKey = 2, kBefore };
  ASSERT_EQ(S_OK, add(z.get(), item.get()));
  const VARIANT object = objectValue(item.get());
  EXPECT_EQ(S_OK, Call(z.get(), L"Add", {object, one, text}, kCall, {kBefore, kKey}).result);
  EXPECT_EQ(S_OK, late(z.get(), L"RemoveByKey", {text}));
  for (const auto& [member, flags, arguments, names, result, bad] : cases) {
    const Call call(z.get(), member, arguments, flags, names);
    EXPECT_EQ(std::pair(result, bad), std::pair(call.result, call.badArgument)) << member;
    EXPECT_EQ(1, countOf(z.get()));
  }
}

// bNoPolicySet comes back as True into whatever the caller has.
using WrittenReferences = SupportTest;
TEST_F(WrittenReferences, HaveTheCallersOwnForm) {
  const Text name(L"no such value"), section(L"Software\\NoSuchCompany");
  VARIANT_BOOL boolean = VARIANT_FALSE;
  LONG number = 7;
  DECIMAL decimal{};
  VARIANT inner = reference(VT_I4, &number);
  for (const VARIANT& place : {reference(VT_BOOL, &boolean), reference(VT_VARIANT, &inner),
                               reference(VT_DECIMAL, &decimal), valueOfType(VT_BOOL), missing()}) {
    EXPECT_EQ(S_OK, late(support.get(), L"GetRegistryValue",
                         {textValue(name), longValue(42), textValue(section), place}));
  }
  EXPECT_EQ(std::tuple(VARIANT_TRUE, -1, 1u), std::tuple(boolean, number, decimal.Lo64));
}

// A script's variable, converted on its way in, changes only when the member writes it; then it
// does although the member fails.
TEST_F(WrittenReferences, ReachTheCallersVariable) {
  const Text two(L"2"), three(L"3"), personal(L"005"), none(L"none"),
      section(L"Software\\ZSupport-no-such-key");
  VARIANT variable;
  const VARIANT it = reference(VT_VARIANT, &variable), here = textValue(section),
                nothing = textValue(none), null = valueOfType(VT_NULL), one = longValue(1);
  const wchar_t write[] = L"WriteRegistryValue";
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
      {L"JoinLongs", {valueOfType(VT_ARRAY | VT_I4), it}, one, L"3 1", 0, runtimeError(9)},
      {L"GetRegistryValue", {nothing, one, here, it}, longValue(-1), L"11 True"},
      {write, {nothing, one, one, it, here}, textValue(two), L"8 2"},
      {write, {nothing, null, one, it, here}, textValue(three), L"3 1", IDNO, runtimeError(13)},
      {L"NotImplemented", {nothing, it}, one, L"8 1 - none", IDOK},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.member << " " << &c - cases);
    const Answer answer(c.answer);
    VariantInit(&variable);
    VariantCopy(&variable, const_cast<VARIANT*>(&c.before));
    EXPECT_EQ(c.result, late(support.get(), c.member, c.arguments));
    EXPECT_EQ(c.after, std::to_wstring(V_VT(&variable)) + L" " +
                           std::wstring(zsupport::toText(variable).view()));
    VariantClear(&variable);
  }
  RegDeleteKeyW(HKEY_CURRENT_USER, section.get());
}

TEST(Enumerator, DeliversOneItemACallFromALiveViewOfFrozenLength) {
  auto z = newCollection();
  ComPtr<IEnumVARIANT> items;
  const auto nextIs = [&](const ComPtr<TestSource>& expected) {
    ULONG fetched = 7;
    VARIANT value[3] = {};
    EXPECT_EQ(expected ? S_OK : S_FALSE, items->Next(3, value, &fetched));
    EXPECT_EQ(expected ? 1u : 0u, fetched);
    EXPECT_EQ(static_cast<IDispatch*>(expected.get()), V_DISPATCH(&value[0]));
    VariantClear(&value[0]);
  };
  const ComPtr<TestSource> sources[] = {TestSource::make(), TestSource::make(), TestSource::make()};
  for (const auto& source : sources) {
    z->NewEnum(items.put());
    ASSERT_EQ(S_OK, add(z.get(), source.get()));
  }
  nextIs(sources[0]);
  nextIs(sources[1]);
  nextIs({});
  EXPECT_EQ(S_OK, items->Reset());
  EXPECT_EQ(S_OK, items->Skip(1));
  nextIs(sources[1]);
  EXPECT_EQ(runtimeError(6), items->Skip(0xFFFFFFFF));

  items->Reset();
  ASSERT_EQ(S_OK, z->RemoveByIndex(1));
  nextIs(sources[1]);
  ASSERT_EQ(S_OK, z->Clear());
  nextIs({});
  z.reset();
  items->Reset();
  nextIs({});  // long after the collection
}

}  // namespace
