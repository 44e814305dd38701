#include "collection/collection_face.h"

#include "automation/boundary.h"
#include "automation/com_ptr.h"
#include "automation/variant.h"
#include "frame/mdlErrorHandling.h"

namespace zsupport {
namespace {

constexpr Default kAddDefaults[] = {kMissing, kMissing, kMissing};

const Member kMembers[] = {
    function<&_Collection::Item>(DISPID_VALUE),
    method<&_Collection::Add>(1, kAddDefaults),
    function<&_Collection::Count>(2),
    method<&_Collection::Remove>(3),
    function<&_Collection::_NewEnum>(DISPID_NEWENUM),
};

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

const MemberTable& CollectionFace::members() {
  static constinit const MemberTable table(__uuidof(_Collection), kMembers);
  return table;
}

HRESULT CollectionFace::GetTypeInfoCount(UINT* count) {
  if (!count) return E_POINTER;
  *count = 1;
  return S_OK;
}

HRESULT CollectionFace::GetTypeInfo(UINT index, LCID, ITypeInfo** info) {
  return members().typeInfo(index, info);
}

HRESULT CollectionFace::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
  return members().idsOfNames(names, count, ids);
}

HRESULT CollectionFace::Invoke(DISPID member, REFIID reserved, LCID locale, WORD flags,
                               DISPPARAMS* arguments, VARIANT* result, EXCEPINFO* exception,
                               UINT* badArgument) {
  return members().invoke(static_cast<_Collection*>(this), member, reserved, locale, flags,
                          arguments, result, exception, badArgument);
}

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
  HRESULT added = S_OK;
  const HRESULT prepared = atBoundary(__uuidof(_Collection), [&] {
    requirePointers(item, key, before, after);
    // Held: the conversion of a key may run foreign code.
    const ComPtr<IDispatch> object(objectIn(*item));
    const ComPtr<_Zollection> alive(&owner_);
    Variant holder;
    const VARIANT& plainKey = dereferenced(*key, holder);
    Text sourceIID;
    Text keyText;
    if (!isMissing(plainKey)) keyText = toText(plainKey);
    added = owner_.Add(object.get(), sourceIID.inout(), keyText.inout(), before, after);
  });
  return FAILED(prepared) ? prepared : added;
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
