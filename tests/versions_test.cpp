// Version stamps: texts, records, order, and records on their way through late binding.
#include "support/late_call.h"

namespace {

class Versions : public SupportTest {
 protected:
  HRESULT parse(std::wstring_view text, VersionStampRecord& stamp) {
    return support->VersionStamp(Text(text).inout(), &stamp);
  }
  std::wstring format(VersionStampRecord stamp, bool full = true, bool mark = true,
                      bool hide = false) {
    VARIANT_BOOL flags[] = {flag(full), flag(mark), flag(hide)};
    Text text;
    EXPECT_EQ(S_OK, support->VersionString(&stamp, &flags[0], &flags[1], &flags[2], text.inout()));
    return std::wstring(text.view());
  }
};

TEST_F(Versions, AreReadFromText) {
  const std::tuple<std::wstring, LONG, LONG, LONG, LONG> cases[] = {
      {L"1.2", 1, 2, 0, 0},         {L"1.2.3", 1, 2, 3, 0},
      {L"1.2.3.4", 1, 2, 4, 0},     {L"1.2.3.4.5", 1, 2, 0, 0},
      {L"1.2.0.5RC3", 1, 2, 5, 19}, {L"4.7b", 4, 7, 0, 2},
      {L"1.2.3\u00df", 1, 2, 3, 2}, {L"1.2.3rc1", 1, 2, 3, 0},
      {L"1.2.3bRC2", 1, 2, 3, 18},  {L"1.2.3xyz", 1, 2, 3, 0},
      {L"1.2.", 1, 2, 0, 0},        {L"1.2.-7", 1, 2, -7, 0},
      {L"1.2.x", 1, 2, 0, 0},       {L"1.2.&H10", 1, 2, 16, 0},
      {L"1.2.&H-5", 1, 2, 0, 0},    {L"1.2.0.5\u03b2", 1, 2, 5, 2},
      {L"1.2.5\u03b1", 1, 2, 5, 1}, {L"1.2.&HFFFFFFFF", 1, 2, -1, 0},
      {L"1.2.-", 1, 2, 0, 0},       {L"1.2." + std::wstring(400, L'0') + L"7", 1, 2, 7, 0},
  };
  for (const auto& [text, major, minor, revision, type] : cases) {
    VersionStampRecord stamp{7, 7, 7, 7};
    EXPECT_EQ(S_OK, parse(text, stamp)) << text;
    EXPECT_EQ(std::tuple(major, minor, revision, type),
              std::tuple(stamp.Major, stamp.Minor, stamp.Revision, stamp.ReleaseType))
        << text;
  }
  const std::pair<std::wstring, LONG> failures[] = {{L"", 9},
                                                    {L"7", 9},
                                                    {L"1x.2", 13},
                                                    {L"1.2.3RC", 13},
                                                    {L"99999999999.1", 6},
                                                    {L"1.2.9e99", 6},
                                                    {L"1.2.&HFFFFFFFFF", 6},
                                                    {L"1.2.&O40000000000", 6}};
  for (const auto& [text, number] : failures) {
    VersionStampRecord stamp{};
    EXPECT_EQ(runtimeError(number), parse(text, stamp)) << text;
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
    EXPECT_EQ(S_OK, written.result) << V_VT(&form);
    EXPECT_EQ(text.view(), zsupport::viewOf(V_BSTR(&written.value.get())));
  }
  for (const VARIANT& wrong : {longValue(1), textValue(text), valueOfType(VT_RECORD)}) {
    EXPECT_EQ(DISP_E_TYPEMISMATCH, Call(support.get(), L"VersionString", {wrong}).result);
  }
}

}  // namespace
