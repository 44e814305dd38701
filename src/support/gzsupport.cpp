// GZSupport: creation, and its members for late-bound callers in the order of the type library.
#include "support/gzsupport.h"

namespace zsupport {
namespace {

constexpr Default kGetRegistryValueDefaults[] = {defaultText(L""), defaultBoolean(false)};
constexpr Default kWriteRegistryValueDefaults[] = {defaultText(L""), defaultText(L"this")};

const Member kMembers[] = {
    function<&_GZSupport::GetRegistryValue>(1, kGetRegistryValueDefaults),
    method<&_GZSupport::WriteRegistryValue>(2, kWriteRegistryValueDefaults),
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
