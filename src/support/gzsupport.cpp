// GZSupport: creation, and its members for late-bound callers in the order of the type library.
#include "support/gzsupport.h"

#include "support/records.h"

namespace zsupport {

namespace {

constexpr Default kGetRegistryValueDefaults[] = {defaultText(L""), defaultBoolean(false)};
constexpr Default kWriteRegistryValueDefaults[] = {defaultText(L""), defaultText(L"this")};

constexpr Default kEmptyText[] = {defaultText(L"")};
constexpr Default kGetTempFileName2Defaults[] = {defaultText(L""), defaultText(L"")};
constexpr Default kVersionStringDefaults[] = {defaultBoolean(true), defaultBoolean(true),
                                              defaultBoolean(false)};
constexpr Default kJoinLongsDefaults[] = {defaultText(L",")};
constexpr Default kNotImplementedDefaults[] = {defaultText(L"Not Implemented")};
constexpr Default kGetComponentLocation2Defaults[] = {defaultLong(im_Prompt), defaultText(L""),
                                                      defaultBoolean(false)};
constexpr Default kCenterWindowDefaults[] = {defaultLong(0), defaultBoolean(false)};
constexpr Default kGetROTObjectDefaults[] = {defaultBoolean(false), defaultBoolean(true)};

constexpr VARTYPE kValues = VT_ARRAY | VT_VARIANT;
constexpr VARTYPE kTexts = VT_ARRAY | VT_BSTR;

const Member kMembers[] = {
    function<&_GZSupport::GetRegistryValue>(1, kGetRegistryValueDefaults),
    method<&_GZSupport::WriteRegistryValue>(2, kWriteRegistryValueDefaults),
    function<&_GZSupport::VersionStamp>(3),
    function<&_GZSupport::VersionString>(4, kVersionStringDefaults),
    function<&_GZSupport::CompareVersionStamps>(5),
    function<&_GZSupport::OSVersion>(6),
    function<&_GZSupport::MakeLegalPath>(7),
    function<&_GZSupport::GetLongPathName>(8),
    function<&_GZSupport::GetUserName>(9),
    function<&_GZSupport::GetComputerName>(10),
    function<&_GZSupport::GetFolderPath>(11, kEmptyText),
    function<&_GZSupport::GetMyDocumentsPath>(12),
    function<&_GZSupport::GetAppDataPath>(13),
    function<&_GZSupport::GetCommonAppDataPath>(14),
    function<&_GZSupport::GetTempPath>(15),
    function<&_GZSupport::GetTempFileName2>(16, kGetTempFileName2Defaults),
    function<&_GZSupport::EnsureDirExists>(17),
    function<&_GZSupport::StringArray, Exactly{0, kValues}, Exactly{1, kTexts}>(18),
    function<&_GZSupport::StringArray2, Exactly{0, kValues}, Exactly{1, kTexts}>(19),
    function<&_GZSupport::JoinLongs, Exactly{0, VT_ARRAY | VT_I4}>(20, kJoinLongsDefaults),
    method<&_GZSupport::AddSVParameter, Exactly{0, kTexts, ArrayUse::kChange},
           Exactly{1, kValues, ArrayUse::kChange}>(21),
    function<&_GZSupport::IsEqualVariant>(22),
    function<&_GZSupport::IsEqualDate, Exactly{0, VT_DATE}, Exactly{1, VT_DATE}>(23),
    function<&_GZSupport::DateMultiple, Exactly{0, VT_DATE}, Exactly{1, VT_DATE}>(24),
    method<&_GZSupport::NotImplemented>(25, kNotImplementedDefaults),
    propertyGet<&_GZSupport::get_VBoost>(26),
    function<&_GZSupport::ArrayDescriptor>(27),
    function<&_GZSupport::ArrayDescriptor1D>(28),
    function<&_GZSupport::ArrayBounds, Exactly{1, VT_ARRAY | VT_RECORD, ArrayUse::kChange},
             Exactly{2, VT_I2}>(29),
    function<&_GZSupport::GetComponentProductID>(30),
    function<&_GZSupport::GetComponentLocation2>(31, kGetComponentLocation2Defaults),
    function<&_GZSupport::GetProductInfo>(32),
    function<&_GZSupport::GetProductSummaryInfo>(33),
    method<&_GZSupport::CenterWindow>(34, kCenterWindowDefaults),
    function<&_GZSupport::BoundingBox>(35),
    function<&_GZSupport::GetTaggedWindow2>(36),
    method<&_GZSupport::SendData>(37),
    function<&_GZSupport::GetROTObject>(38, kGetROTObjectDefaults),
};

}  // namespace

const MemberTable& GZSupportObject::members() {
  static constinit const MemberTable table(__uuidof(_GZSupport), kMembers);
  return table;
}

ComPtr<_GZSupport> createSupportObject() {
  return ComPtr<_GZSupport>::attach(new GZSupportObject());
}

}  // namespace zsupport
