// Zollection for late-bound callers: its members, in the order of the type library.
#include "collection/zollection.h"

namespace zsupport {
namespace {

constexpr Default kAddDefaults[] = {defaultText(L""), defaultText(L""), kMissing, kMissing};

const Member kMembers[] = {
    propertyPut<&_Zollection::put_CompareMode>(1),
    propertyGet<&_Zollection::get_CompareMode>(1),
    propertyGet<&_Zollection::get_Count>(2),
    propertyGet<&_Zollection::get_Increment>(3),
    propertyPut<&_Zollection::put_Increment>(3),
    propertyGet<&_Zollection::get_UseDISPID>(4),
    propertyPut<&_Zollection::put_UseDISPID>(4),
    method<&_Zollection::Add>(5, kAddDefaults),
    method<&_Zollection::Clear>(6),
    method<&_Zollection::Remove>(7),
    method<&_Zollection::RemoveByKey>(8),
    method<&_Zollection::RemoveByIndex>(9),
    propertyGet<&_Zollection::get_Item>(DISPID_VALUE),
    function<&_Zollection::ItemByIndex>(10),
    function<&_Zollection::ItemByKey>(11),
    propertyGet<&_Zollection::get_Exists>(12),
    function<&_Zollection::KeyExists>(13),
    function<&_Zollection::IndexFromKey>(14),
    propertyGet<&_Zollection::get_Key>(15),
    propertyPut<&_Zollection::put_Key>(15),
    function<&_Zollection::NewEnum>(DISPID_NEWENUM),
    method<&_Zollection::RaiseTheEvent>(0x6003000C),
};

}  // namespace

const MemberTable& ZollectionObject::members() {
  static constinit const MemberTable table(__uuidof(_Zollection), kMembers);
  return table;
}

}  // namespace zsupport
