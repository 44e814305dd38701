// Zollection for late-bound callers.
#include "_Zollection_members.h"
#include "collection/zollection.h"

namespace zsupport {
namespace {

constexpr MemberTable kTable(__uuidof(_Zollection), members_of_Zollection::kMembers);

}  // namespace

const MemberTable& ZollectionObject::members() { return kTable; }

}  // namespace zsupport
