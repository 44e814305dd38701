// Values and dates: equality, spans, the announcement of features to come, the helper object.
#include <cmath>
#include <limits>

#include "support/answer.h"
#include "support/com.h"

namespace {

using Values = SupportTest;

VARIANT dateValue(DATE date) {
  VARIANT v = doubleValue(date);
  V_VT(&v) = VT_DATE;
  return v;
}

TEST_F(Values, AreEqualByTheRulesOfTheRuntime) {
  const Text word(L"word"), upper(L"WORD"), one(L"1"), nothing(L""), spaced(L" 1.0 ");
  VARIANT yes = valueOfType(VT_BOOL), error = missing(), otherError = missing();
  V_BOOL(&yes) = VARIANT_TRUE;
  V_ERROR(&otherError) = 5;
  const auto z = newCollection();
  VARIANT object = valueOfType(VT_DISPATCH), aLong = longValue(1);
  V_DISPATCH(&object) = z.get();  // whose default member wants an argument
  const VARIANT null = valueOfType(VT_NULL), empty = valueOfType(VT_EMPTY);
  const VARIANT array = valueOfType(VT_ARRAY | VT_VARIANT), nobody = valueOfType(VT_DISPATCH);
  enum { kNo, kYes, kMismatch };
  const struct {
    VARIANT a, b;
    int expected;
  } cases[] = {
      {null, null, kYes},
      {null, empty, kNo},
      {empty, empty, kYes},
      {empty, longValue(0), kNo},
      {empty, textValue(nothing), kNo},
      {longValue(1), doubleValue(1), kYes},
      {longValue(1), doubleValue(1.5), kNo},
      {longValue(-1), yes, kYes},
      {dateValue(1), longValue(1), kYes},
      {textValue(word), textValue(word), kYes},
      {textValue(word), textValue(upper), kNo},
      {longValue(1), textValue(one), kYes},
      {textValue(spaced), longValue(1), kYes},
      {textValue(spaced), textValue(one), kNo},
      {longValue(1), textValue(word), kNo},
      {longValue(0), textValue(nothing), kNo},
      {reference(VT_VARIANT, &aLong), longValue(1), kYes},
      {error, error, kYes},
      {error, otherError, kNo},
      {error, longValue(1), kMismatch},
      {object, longValue(1), kMismatch},
      {nobody, nobody, kMismatch},
      {array, array, kMismatch},
  };
  for (const auto& [a, b, expected] : cases) {
    for (const auto& [left, right] : {std::pair(a, b), std::pair(b, a)}) {
      VARIANT first = left, second = right;
      VARIANT_BOOL equal = 0x55;
      const HRESULT result = support->IsEqualVariant(&first, &second, &equal);
      EXPECT_EQ(expected == kMismatch ? runtimeError(13) : S_OK, result) << V_VT(&a) << " " << V_VT(&b);
      EXPECT_EQ(expected == kYes ? VARIANT_TRUE : VARIANT_FALSE, equal);
    }
  }
}

TEST_F(Values, OfDatesAreSecondsAndSpans) {
  constexpr double kSecond = 1.0 / 86'400, kNaN = std::numeric_limits<double>::quiet_NaN();
  const double noon = 45'000.5;
  const struct {
    DATE a, b;
    HRESULT result;
    bool isEqual;
  } dates[] = {
      {noon + 0.2 * kSecond, noon + 0.7 * kSecond, S_OK, true},
      {noon, noon + kSecond, S_OK, false},
      {noon, noon - 0.2 * kSecond, S_OK, false},
      {-1.25, -1.25 - 0.4 * kSecond, S_OK, true},
      {-600'000, 2'900'000, S_OK, false},
      {noon, 1e9, runtimeError(5), false},
      {noon, kNaN, runtimeError(5), false},
  };
  for (auto [a, b, result, isEqual] : dates) {
    VARIANT_BOOL equal = 0x55;
    EXPECT_EQ(result, support->IsEqualDate(&a, &b, &equal)) << a << " " << b;
    EXPECT_EQ(isEqual ? VARIANT_TRUE : VARIANT_FALSE, equal) << a << " " << b;
  }
  const struct {
    DATE span, unit;
    HRESULT result;
    double multiple;
  } spans[] = {
      {1.0 / 24, 1.0 / 48, S_OK, 2},
      {1, 0, S_OK, 0},
      {1, 0.4 * kSecond, S_OK, 0},
      {2.5 * kSecond, 1.5 * kSecond, S_OK, 1},  // halves to even, both
      {-1, 4, S_OK, -0.25},
      {24'855, 1, S_OK, 24'855},
      {24'856, 1, runtimeError(6), 0},
      {1, 1e300, runtimeError(6), 0},
      {kNaN, 1, runtimeError(6), 0},
  };
  for (auto [span, unit, result, expected] : spans) {
    double multiple = 7;
    EXPECT_EQ(result, support->DateMultiple(&span, &unit, &multiple)) << span << " " << unit;
    EXPECT_EQ(expected, multiple) << span << " " << unit;
  }
}

TEST_F(Values, AreAnnouncedWhenTheyAreNotImplemented) {
  Text feature(L"F-12"), message(L"Not yet");
  const Answer answer(IDOK);
  EXPECT_EQ(S_OK, support->NotImplemented(feature.inout(), message.inout()));
  EXPECT_EQ(L"Not yet - F-12", message.view());
  EXPECT_EQ(L"Not yet - F-12", Answer::question);
  ASSERT_TRUE(OpenClipboard(nullptr));
  const HANDLE text = GetClipboardData(CF_UNICODETEXT);
  EXPECT_STREQ(L"Not yet - F-12", text ? static_cast<const wchar_t*>(GlobalLock(text)) : L"(nothing)");
  CloseClipboard();
}

TEST_F(Values, HaveOneHelperObjectAThread) {
  const auto helperOf = [](const ComPtr<_GZSupport>& any) {
    ComPtr<IDispatch> helper;
    EXPECT_EQ(S_OK, any->get_VBoost(helper.put()));
    return helper;
  };
  const auto helper = helperOf(support);
  EXPECT_TRUE(helper);
  EXPECT_EQ(helper.get(), helperOf(newSupport()).get());
  onFreshThread([&] { EXPECT_NE(helper.get(), helperOf(newSupport()).get()); });
}

}  // namespace
