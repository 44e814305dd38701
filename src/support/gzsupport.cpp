// GZSupport: creation, and its face for late-bound callers.
#include "support/gzsupport.h"

#include "ZSupport_records.h"

namespace zsupport {

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
