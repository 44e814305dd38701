// Version stamps: texts, records, order, and records on their way through late binding.
#include "support/late_call.h"

namespace {

class Versions : public SupportTest {
 protected:
  std::wstring format(VersionStampRecord stamp, bool full = true, bool mark = true,
                      bool hide = false) {
    VARIANT_BOOL flags[] = {flag(full), flag(mark), flag(hide)};
    Text text;
    EXPECT_EQ(S_OK, support->VersionString(&stamp, &flags[0], &flags[1], &flags[2], text.inout()));
    return std::wstring(text.view());
  }
};

TEST_F(Versions, AreReadFromText) {
  const std::tuple<std::wstring, LONG, LONG, LONG> cases[] = {
      {L"", 0, 0, 0},
      {L".3", 3, 0, 0},
      {L".3.4", 4, 0, 0},
      {L".3.4.5", 0, 0, 0},
      {L".0.5RC3", 5, 19, 0},
      {L".3\u00df", 3, 2, 0},
      {L".3rc1", 3, 0, 0},
      {L".3bRC2", 3, 18, 0},
      {L".3xyz", 3, 0, 0},
      {L".", 0, 0, 0},
      {L".-7", -7, 0, 0},
      {L".x", 0, 0, 0},
      {L".&H10", 16, 0, 0},
      {L".&H-5", 0, 0, 0},
      {L".0.5\u03b2", 5, 2, 0},
      {L".5\u03b1", 5, 1, 0},
      {L".&HFFFFFFFF", -1, 0, 0},
      {L".-", 0, 0, 0},
      {L"." + std::wstring(400, L'0') + L"7", 7, 0, 0},
      {L".3RC", 0, 0, 13},
      {L".9e99", 0, 0, 6},
      {L".&HFFFFFFFFF", 0, 0, 6},
      {L".&O40000000000", 0, 0, 6},
  };
  const auto expectStamp = [&](const std::wstring& text, VersionStampRecord expected, LONG error) {
    VersionStampRecord stamp{7, 7, 7, 7};
    EXPECT_EQ(error ? runtimeError(error) : S_OK, support->VersionStamp(Text(text).inout(), &stamp))
        << text;
    EXPECT_EQ(0, memcmp(&expected, &stamp, sizeof stamp)) << text;
  };
  for (const auto& [behind, revision, type, error] : cases) {
    const LONG parsed = error ? 0 : 1;
    expectStamp(L"1.2" + behind, {parsed, 2 * parsed, revision, type}, error);
  }
  expectStamp(L"4.7b", {4, 7, 0, 2}, 0);
  for (const auto& [text, error] :
       {std::pair(L"", 9), {L"7", 9}, {L"1x.2", 13}, {L"99999999999.1", 6}}) {
    expectStamp(text, {}, error);
  }
}

TEST_F(Versions, AreWrittenAsTextAndCompared) {
  EXPECT_EQ(L"1.2.5", format({1, 2, 5, 0}, false));
  EXPECT_EQ(L"1.2.0.5RC3", format({1, 2, 5, 19}));
  EXPECT_EQ(L"1.2.0.5\u03b1\u03b2", format({1, 2, 5, 3}));
  EXPECT_EQ(L"1.2.0.5", format({1, 2, 5, 19}, true, false));
  EXPECT_EQ(L"1.2RC3", format({1, 2, 5, 19}, true, true, true));
  EXPECT_EQ(L"-1.-2.0.-3", format({-1, -2, -3, 0}));
  const std::tuple<VersionStampRecord, VersionStampRecord, LONG> cases[] = {
      {{1, 2, 5, 0}, {1, 2, 5, 19}, 0},
      {{1, 2, 4, 0}, {1, 2, 5, 0}, -1},
      {{-1, 0, 0, 0}, {0, 0, 0, 0}, -1}};
  for (auto [left, right, expected] : cases) {
    LONG order = 7;
    EXPECT_EQ(S_OK, support->CompareVersionStamps(&left, &right, &order));
    EXPECT_EQ(expected, order);
  }
  VersionStampRecord system{7, 7, 7, 7};
  EXPECT_EQ(S_OK, support->OSVersion(&system));
  EXPECT_EQ(HIBYTE(LOWORD(GetVersion())), system.Major) << "which is the platform's minor version";
  EXPECT_EQ(0, system.Minor);
}

TEST_F(Versions, TravelThroughLateBindingAsRecords) {
  const Text text(L"1.2.0.5RC3");
  Call stamp(support.get(), L"VersionStamp", {textValue(text)});
  VARIANT& record = *stamp.value.inout();
  ASSERT_EQ(VT_RECORD, V_VT(&record));
  VARIANT byReference = record;
  V_VT(&byReference) = VT_RECORD | VT_BYREF;
  for (const VARIANT& form : {record, byReference, reference(VT_VARIANT, &record)}) {
    const Call written(support.get(), L"VersionString", {form});
    EXPECT_EQ(text.view(), zsupport::toText(written.value.get()).view()) << V_VT(&form);
  }
  for (const VARIANT& wrong : {longValue(1), textValue(text), valueOfType(VT_RECORD)}) {
    EXPECT_EQ(DISP_E_TYPEMISMATCH, late(support.get(), L"VersionString", {wrong}));
  }
}

}  // namespace
