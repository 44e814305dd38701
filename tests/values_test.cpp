// Values and dates: equality, spans, the announcement of features to come, the helper object.
#include <cmath>
#include <limits>

#include "support/answer.h"
#include "support/value_object.h"

namespace {

class Values : public SupportTest {
 protected:
  enum { kNo, kYes, kMismatch };
  void expectEquality(int expected, VARIANT a, VARIANT b) {
    VARIANT_BOOL equal = 0x55;
    const HRESULT result = support->IsEqualVariant(&a, &b, &equal);
    EXPECT_EQ(expected == kMismatch ? runtimeError(13) : S_OK, result)
        << V_VT(&a) << " " << V_VT(&b);
    EXPECT_EQ(flag(expected == kYes), equal) << V_VT(&a) << " " << V_VT(&b);
  }
};

TEST_F(Values, AreEqualByTheRulesOfTheRuntime) {
  const Text word(L"word"), upper(L"WORD"), spaced(L" 1.0 ");
  const Text largest(L"18446744073709551615");
  const auto z = newCollection();
  VARIANT aLong = longValue(1);
  const VARIANT object = objectValue(z.get());  // whose default member wants an argument
  const VARIANT yes = makeValue(VT_BOOL, VARIANT_TRUE), error = missing(),
                null = valueOfType(VT_NULL), empty = valueOfType(VT_EMPTY), number = longValue(1),
                array = valueOfType(VT_ARRAY | VT_VARIANT), nobody = valueOfType(VT_DISPATCH);
  const auto oneObject = ValueObject::of(number), endless = ValueObject::endless();
  constexpr ULONG64 kLargest = ~ULONG64{0};
  const std::tuple<VARIANT, VARIANT, int> cases[] = {
      {null, null, kYes},
      {null, empty, kNo},
      {empty, longValue(0), kNo},
      {number, doubleValue(1.5), kNo},
      {textValue(word), textValue(upper), kNo},
      {textValue(spaced), number, kYes},
      {number, textValue(word), kNo},
      {reference(VT_VARIANT, &aLong), number, kYes},
      {objectValue(oneObject.get()), makeValue(VT_UINT, 1), kYes},
      {objectValue(endless.get()), number, kMismatch},
      {makeValue(VT_I1, CHAR{-1}), yes, kYes},
      {makeValue(VT_UI4, ~0ul), longValue(-1), kNo},
      {makeValue(VT_UI8, kLargest), textValue(largest), kYes},
      {makeValue(VT_UI8, kLargest), doubleValue(0x1p64), kNo},
      {makeValue(VT_UI8, kLargest - 0x7FF), doubleValue(0x1.FFFFFFFFFFFFFp63), kYes},
      {makeValue(VT_UI2, 1), makeValue(VT_CY, LONGLONG{10'001}), kNo},
      {error, error, kYes},
      {error, number, kMismatch},
      {object, number, kMismatch},
      {nobody, nobody, kMismatch},
      {array, array, kMismatch},
  };
  for (const auto& [a, b, expected] : cases) {
    expectEquality(expected, a, b);
    expectEquality(expected, b, a);
  }
  for (const VARTYPE left : kNumericTypes) {
    for (const VARTYPE right : kNumericTypes) {
      const bool isTruth = left == VT_BOOL || right == VT_BOOL;  // which is 0 or -1
      expectEquality(kYes, numberOf(left, 0), numberOf(right, 0));
      expectEquality(isTruth && left != right ? kNo : kYes, numberOf(left, 7), numberOf(right, 7));
      expectEquality(kNo, numberOf(left, 7), numberOf(right, 0));
    }
  }
}

TEST_F(Values, OfDatesAreSecondsAndSpans) {
  constexpr double kSecond = 1.0 / 86'400, kNaN = std::numeric_limits<double>::quiet_NaN();
  for (DATE wrong : {1e9, kNaN}) {
    DATE noon = 45'000.5;
    VARIANT_BOOL equal = 0x55;
    EXPECT_EQ(runtimeError(5), support->IsEqualDate(&noon, &wrong, &equal)) << wrong;
    EXPECT_EQ(VARIANT_FALSE, equal);
  }
  // Dates that are put together as the platform does it.
  for (const double day : {0.0, 45'000.0, -45'000.0, 2'900'000.0}) {
    const int direction = day < 0 ? -1 : 1;
    for (int second = 1; second < 86'400; second += 7) {
      const double time = second / 3600 / 24.0 + second / 60 % 60 / 1440.0 + second % 60 / 86'400.0;
      DATE date = day + direction * time, inside = date + direction * 0.99 * kSecond,
           before = date - direction * 0.01 * kSecond;
      VARIANT_BOOL same = 0x55, other = 0x55;
      support->IsEqualDate(&date, &inside, &same);
      support->IsEqualDate(&date, &before, &other);
      ASSERT_TRUE(same == VARIANT_TRUE && other == VARIANT_FALSE) << day << " " << second;
    }
  }
  const std::tuple<DATE, DATE, HRESULT, double> spans[] = {
      {1.0 / 24, 1.0 / 48, S_OK, 2},
      {1, 0.4 * kSecond, S_OK, 0},
      {2.5 * kSecond, 1.5 * kSecond, S_OK, 1},  // halves to even, both
      {24'855, 1, S_OK, 24'855},
      {24'856, 1, runtimeError(6), 0},
      {1, 1e300, runtimeError(6), 0},
      {kNaN, 1, runtimeError(6), 0},
  };
  for (auto [span, unit, result, expected] : spans) {
    double multiple = 7;
    EXPECT_EQ(result, support->DateMultiple(&span, &unit, &multiple)) << span << " " << unit;
    EXPECT_EQ(expected, multiple);
  }
}

TEST_F(Values, AreAnnouncedWhenTheyAreNotImplemented) {
  const wchar_t announced[] = L"Not yet - F-12";
  Text feature(L"F-12"), message(L"Not yet");
  const Answer answer(IDOK);
  EXPECT_EQ(S_OK, support->NotImplemented(feature.inout(), message.inout()));
  EXPECT_EQ(announced, message.view());
  EXPECT_EQ(announced, Answer::question);
  ASSERT_TRUE(OpenClipboard(nullptr));
  const HANDLE text = GetClipboardData(CF_UNICODETEXT);
  EXPECT_STREQ(announced, text ? static_cast<const wchar_t*>(GlobalLock(text)) : L"(nothing)");
  CloseClipboard();
}

}  // namespace
