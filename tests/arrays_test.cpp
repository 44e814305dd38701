// Arrays: as texts, as parallel pairs that grow, their descriptors, and their way through late
// binding.
#include "automation/safe_array.h"
#include "support/late_call.h"
#include "support/test_source.h"
#include "support/value_object.h"

namespace {

using zsupport::SafeArray;

SafeArray arrayOf(VARTYPE type, std::vector<SAFEARRAYBOUND> bounds) {
  return SafeArray::attach(SafeArrayCreate(type, static_cast<UINT>(bounds.size()), bounds.data()));
}

SafeArray valuesOf(const std::vector<VARIANT>& values, LONG lower = 0) {
  SafeArray array = arrayOf(VT_VARIANT, {{static_cast<ULONG>(values.size()), lower}});
  auto* element = static_cast<VARIANT*>(array.get()->pvData);
  for (const VARIANT& value : values) VariantCopy(element++, const_cast<VARIANT*>(&value));
  return array;
}

// The lower bound, and the elements of an array of texts or of values: "0: a|b|".
std::wstring contentOf(const SafeArray& array) {
  if (!array) return L"none";
  const SAFEARRAY& all = *array.get();
  const VARTYPE type = all.cbElements == sizeof(VARIANT) ? VT_VARIANT : VT_BSTR;
  std::wstring text = std::to_wstring(all.rgsabound[0].lLbound) + L": ";
  for (ULONG i = 0; i < all.rgsabound[0].cElements; ++i) {
    const VARIANT element = reference(type, static_cast<BYTE*>(all.pvData) + i * all.cbElements);
    text += std::wstring(zsupport::toText(element).view()) + L"|";
  }
  return text;
}

class Arrays : public SupportTest {
 protected:
  HRESULT addPair(SafeArray& names, SafeArray& values, std::wstring_view name, VARIANT value) {
    return support->AddSVParameter(names.inout(), values.inout(), Text(name).inout(), &value);
  }
  const Text word = Text(L"word");
};

TEST_F(Arrays, BecomeTexts) {
  const std::vector<VARIANT> plain = {longValue(-7), makeValue(VT_BOOL, VARIANT_TRUE),
                                      textValue(word), valueOfType(VT_EMPTY)};
  const VARIANT null = valueOfType(VT_NULL), error = makeValue(VT_ERROR, runtimeError(2042)),
                one = longValue(1);
  const auto endless = ValueObject::endless();
  struct {
    SafeArray values;
    std::wstring lenient, strict;  // or the number of the error
  } cases[] = {
      {valuesOf(plain), L"0: -7|True|word||", L"0: -7|True|word||"},
      {valuesOf(plain, -5), L"0: -7|True|word||", L"none"},
      {valuesOf({null, error, one, reference(VT_I4, nullptr)}), L"0: ||1||", L"94"},
      {SafeArray(), L"0: ", L"9"},
      {arrayOf(VT_VARIANT, {{0, 0}, {3, 0}}), L"9", L"9"},
      {arrayOf(VT_I4, {{1, 0}}), L"13", L"13"},
      {valuesOf({one, one, longValue(3)}, -1), L"0: 1|1|3|", L"0: 1|3|"},
      {valuesOf({error}), L"0: |", L"0: Error 2042|"},
      {valuesOf(plain, 1), L"0: -7|True|word||", L"9"},
      {valuesOf({one}, 1 << 28), L"0: 1|", L"9"},
      {valuesOf({one}, LONG_MAX - 1), L"0: 1|", L"9"},
      {valuesOf({objectValue(endless.get())}), L"0: |", L"13"},
  };
  for (auto& [values, lenient, strict] : cases) {
    for (const auto& [member, expected] :
         {std::pair(&_GZSupport::StringArray, lenient), {&_GZSupport::StringArray2, strict}}) {
      SafeArray texts;
      const HRESULT result = (support.get()->*member)(values.inout(), texts.inout());
      EXPECT_EQ(expected, result == S_OK ? contentOf(texts) : std::to_wstring(result & 0xFFFF));
    }
  }
}

TEST_F(Arrays, InParallelGrowBothOrNeither) {
  SafeArray names = arrayOf(VT_BSTR, {{1, 0}}), values = arrayOf(VT_VARIANT, {{5, 0}});
  EXPECT_EQ(S_OK, addPair(names, values, L"first", longValue(1)));
  EXPECT_EQ(L"0: 1|||||", contentOf(values));
  EXPECT_EQ(S_OK, addPair(names, values, L"second", textValue(word)));

  SafeArray none, shifted = valuesOf({longValue(1)}, -1), wrong = arrayOf(VT_I4, {{1, 0}}),
                  beyond = arrayOf(VT_BSTR, {{0, LONG_MIN}}),
                  vector = SafeArray::attach(SafeArrayCreateVector(VT_VARIANT, 0, 2));
  const std::tuple<SafeArray&, SafeArray&, LONG> refused[] = {
      {none, values, 9},  {names, none, 9},    {names, shifted, 9},
      {names, wrong, 13}, {beyond, values, 9}, {names, vector, 10},
  };
  for (const auto& [someNames, someValues, number] : refused) {
    EXPECT_EQ(runtimeError(number), addPair(someNames, someValues, L"x", longValue(1)));
    EXPECT_EQ(L"0: first|second|", contentOf(names));
    EXPECT_EQ(L"0: 1|word|", contentOf(values));
  }

  // A value that there is no room for any more goes when all is done.
  std::wstring seen;
  auto item = TestSource::make({.onDestroy = [&] { seen = contentOf(names); }});
  SafeArray more = valuesOf({longValue(1), longValue(2), longValue(3), objectValue(item.get())});
  item.reset();
  EXPECT_EQ(S_OK, addPair(names, more, L"third", longValue(33)));
  EXPECT_EQ(L"0: first|second|third|", seen);
  EXPECT_EQ(L"0: 1|2|33|", contentOf(more));
}

TEST_F(Arrays, ShowTheirDescriptors) {
  SafeArray array = arrayOf(VT_I4, {{2, 5}, {3, -1}}), none, bounds;
  SafeArrayLock(array.get());
  const auto addressOf = [](SafeArray& place) { return reinterpret_cast<LONG>(place.inout()); };
  ArrayHeader1D header{};
  EXPECT_EQ(S_OK, support->ArrayDescriptor1D(addressOf(array), &header));
  EXPECT_EQ(0, memcmp(&header, array.get(), sizeof header));
  SHORT dimensions = 7;
  EXPECT_EQ(S_OK, support->ArrayBounds(addressOf(array), bounds.inout(), &dimensions));
  EXPECT_EQ(2, dimensions);
  ASSERT_TRUE(bounds);
  EXPECT_EQ(0, memcmp(bounds.get()->pvData, array.get()->rgsabound, 16));
  SafeArrayUnlock(array.get());

  EXPECT_EQ(S_OK, support->ArrayBounds(addressOf(none), bounds.inout(), &dimensions));
  EXPECT_EQ(0, dimensions);
  EXPECT_FALSE(bounds);
  EXPECT_EQ(runtimeError(13), support->ArrayBounds(addressOf(array), array.inout(), &dimensions));
  LONG nonsense = 12;
  for (const LONG address : {0L, -1L, 16L, reinterpret_cast<LONG>(&nonsense)}) {
    EXPECT_EQ(runtimeError(5), support->ArrayDescriptor1D(address, &header));
    EXPECT_EQ(runtimeError(5), support->ArrayBounds(address, bounds.inout(), &dimensions));
  }
}

// Every form in which a late-bound caller has an array.
TEST_F(Arrays, AreJoinedHoweverTheyAreGiven) {
  const Text three(L"3");
  Text delimiter(L"; "), text;
  SafeArray longs = arrayOf(VT_I4, {{2, 1}}),
            mixed = valuesOf({longValue(1), doubleValue(2), textValue(three)}),
            words = valuesOf({textValue(word)});
  VARIANT own = arrayValue(VT_I4, longs.get()), bounds = valueOfType(VT_EMPTY);
  static_cast<LONG*>(longs.get()->pvData)[1] = LONG_MIN;
  const wchar_t two[] = L"0; -2147483648";
  const std::tuple<VARIANT, const wchar_t*, HRESULT> forms[] = {
      {own, two, S_OK},
      {reference(VT_VARIANT, &own), two, S_OK},
      {reference(VT_ARRAY | VT_I4, longs.inout()), two, S_OK},
      {reference(VT_ARRAY | VT_VARIANT, mixed.inout()), L"1; 2; 3", S_OK},
      {valueOfType(VT_ARRAY | VT_I4), L"", runtimeError(9)},  // not dimensioned
      {longValue(1), L"", DISP_E_TYPEMISMATCH},
      {reference(VT_ARRAY | VT_I4, nullptr), L"", DISP_E_TYPEMISMATCH},
      {arrayValue(VT_VARIANT, words.get()), L"", DISP_E_TYPEMISMATCH}};
  for (const auto& [form, expected, result] : forms) {
    const Call joined(support.get(), L"JoinLongs", {form, textValue(delimiter)});
    EXPECT_EQ(result, joined.result) << V_VT(&form);
    EXPECT_EQ(expected, zsupport::toText(joined.value.get()).view());
  }
  EXPECT_EQ(runtimeError(13), support->JoinLongs(mixed.inout(), delimiter.inout(), text.inout()));

  // More bytes than the platform can turn into values without its sizes wrapping round.
  SAFEARRAY* huge = nullptr;
  ASSERT_EQ(S_OK, SafeArrayAllocDescriptorEx(VT_UI1, 1, &huge));
  huge->rgsabound[0] = {1 << 28, 0};
  huge->pvData = &huge;
  EXPECT_EQ(runtimeError(7), late(support.get(), L"StringArray", {arrayValue(VT_UI1, huge)}));
  SafeArrayDestroyDescriptor(huge);

  const VARIANT address = longValue(reinterpret_cast<LONG>(longs.inout()));
  EXPECT_EQ(S_OK, late(support.get(), L"ArrayBounds", {address, reference(VT_VARIANT, &bounds)}));
  EXPECT_EQ(VT_ARRAY | VT_RECORD, V_VT(&bounds));
  VariantClear(&bounds);
  const Call header(support.get(), L"ArrayDescriptor", {address});
  ASSERT_EQ(VT_RECORD, V_VT(&header.value.get()));
  EXPECT_EQ(0, memcmp(V_RECORD(&header.value.get()), longs.get(), sizeof(ArrayHeader)));
}

}  // namespace
