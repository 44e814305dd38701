// GZSupport: creation, and its face for late-bound callers.
#include "support/gzsupport.h"

#include "ZSupport_records.h"

namespace zsupport {

// Which parameters the members write.
template <>
inline constexpr std::array kExactly<&_GZSupport::GetRegistryValue> = {answers(3)};
template <>
inline constexpr std::array kExactly<&_GZSupport::WriteRegistryValue> = {changes(3)};
template <>
inline constexpr std::array kExactly<&_GZSupport::GetTempFileName2> = {changes(0)};
template <>
inline constexpr std::array kExactly<&_GZSupport::NotImplemented> = {changes(1)};
template <>
inline constexpr std::array kExactly<&_GZSupport::GetComponentLocation2> = {changes(1), changes(2),
                                                                            changes(3)};
template <>
inline constexpr std::array kExactly<&_GZSupport::CenterWindow> = {changes(1)};
template <>
inline constexpr std::array kExactly<&_GZSupport::AddSVParameter> = {changes(0), changes(1)};
template <>
inline constexpr std::array kExactly<&_GZSupport::ArrayBounds> = {changes(1)};

}  // namespace zsupport

// Behind what it needs to know of the methods.
#include "_GZSupport_members.h"

namespace zsupport {
namespace {

constexpr MemberTable kTable(__uuidof(_GZSupport), members_of_GZSupport::kMembers);

}  // namespace

const MemberTable& GZSupportObject::members() { return kTable; }

ComPtr<_GZSupport> createSupportObject() {
  return ComPtr<_GZSupport>::attach(new GZSupportObject());
}

}  // namespace zsupport
