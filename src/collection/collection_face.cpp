#include "collection/collection_face.h"

#include "_Collection_members.h"
#include "automation/boundary.h"
#include "automation/com_ptr.h"
#include "automation/foreign_unwind.h"
#include "automation/variant.h"
#include "frame/mdlErrorHandling.h"

namespace zsupport {
namespace {

constexpr MemberTable kTable(__uuidof(_Collection), members_of_Collection::kMembers);

// The object in an item variant; error 5 when the variant is of any other type.
IDispatch* objectIn(const VARIANT& item) {
  switch (typeOf(item)) {
    case VT_DISPATCH:
      return V_DISPATCH(&item);
    case VT_DISPATCH | VT_BYREF:
      return V_DISPATCHREF(&item) ? *V_DISPATCHREF(&item) : nullptr;
    default:
      raiseOwn(runtime::kInvalidCall, L"Zollection.Add",
               standardDescription(runtime::kInvalidCall) + L" - Item must be an Object");
  }
}

}  // namespace

const MemberTable& CollectionFace::members() { return kTable; }

HRESULT CollectionFace::Item(VARIANT* index, VARIANT* item) {
  if (!index || !item) return E_POINTER;
  VariantInit(item);
  IDispatch* found = nullptr;
  const HRESULT result = owner_.get_Item(*index, &found);
  if (FAILED(result)) return result;
  V_VT(item) = VT_DISPATCH;
  V_DISPATCH(item) = found;
  return result;
}

HRESULT CollectionFace::Add(VARIANT* item, VARIANT* key, VARIANT* before, VARIANT* after) {
  // Held: the conversion of a key may run foreign code.
  ComPtr<_Zollection> alive(&owner_);
  ComPtr<IDispatch> object;
  Variant holder;
  Text keyText;
  const auto body = [&] {
    object = ComPtr<IDispatch>(objectIn(*item));
    const VARIANT& plainKey = dereferenced(*key, holder);
    Text sourceIID;
    if (!isMissing(plainKey)) keyText = toText(plainKey);
    return owner_.Add(object.get(), sourceIID.inout(), keyText.inout(), before, after);
  };
  const auto call = [&] {
    return atBoundary(__uuidof(_Collection), {item, key, before, after}, body);
  };
  return passingExceptions(call, [&] {
    keyText = {};
    holder.put();
    object.reset();
    alive.reset();
  });
}

HRESULT CollectionFace::Count(LONG* count) { return owner_.get_Count(count); }

HRESULT CollectionFace::Remove(VARIANT* index) { return index ? owner_.Remove(*index) : E_POINTER; }

HRESULT CollectionFace::_NewEnum(IUnknown** enumerator) {
  if (!enumerator) return E_POINTER;
  IEnumVARIANT* items = nullptr;
  const HRESULT result = owner_.NewEnum(&items);
  *enumerator = items;
  return result;
}

}  // namespace zsupport
