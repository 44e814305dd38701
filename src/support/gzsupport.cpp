// GZSupport: creation, and its members for late-bound callers in the order of the type library.
#include "support/gzsupport.h"

namespace zsupport {

// Of the record in the type library.
template <>
struct RecordId<VersionStampRecord> {
  static constexpr GUID kId = {
      0xC6C0B0C3, 0x0C0C, 0x4C8E, {0x9B, 0x57, 0x7E, 0x1E, 0x4F, 0x5A, 0x7D, 0x21}};
};

namespace {

constexpr Default kGetRegistryValueDefaults[] = {defaultText(L""), defaultBoolean(false)};
constexpr Default kWriteRegistryValueDefaults[] = {defaultText(L""), defaultText(L"this")};

constexpr Default kEmptyText[] = {defaultText(L"")};
constexpr Default kGetTempFileName2Defaults[] = {defaultText(L""), defaultText(L"")};
constexpr Default kVersionStringDefaults[] = {defaultBoolean(true), defaultBoolean(true),
                                              defaultBoolean(false)};

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
};

}  // namespace

const MemberTable& GZSupportObject::members() {
  static const MemberTable table(__uuidof(_GZSupport), kMembers);
  return table;
}

ComPtr<_GZSupport> createSupportObject() {
  return ComPtr<_GZSupport>::attach(new GZSupportObject());
}

}  // namespace zsupport
