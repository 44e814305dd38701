// Zollection: finding items and their keys.
#include "automation/boundary.h"
#include "automation/variant.h"
#include "collection/enumerator.h"
#include "collection/zollection.h"
#include "events/procedure.h"

namespace zsupport {
namespace {

// A reference for the caller; empty while the item is being let go.
ComPtr<IDispatch> itemOf(const ItemRecord* record) { return ComPtr<IDispatch>(record->item); }

}  // namespace

HRESULT ZollectionObject::get_Item(VARIANT key, IDispatch** item) {
  return kZollection.give(L"Get Item", {}, item, [&] {
    constexpr wchar_t kSource[] = L"Zollection.Item (Get)";
    Variant holder;
    const VARIANT& plain = dereferenced(key, holder);
    if (isPosition(plain)) return itemOf(recordAt(toLong(plain), kSource));
    if (typeOf(plain) == VT_BSTR) return itemOf(recordByKey(V_BSTR(&plain), kSource));
    raiseOwn(runtime::kInvalidCall, kSource);
  });
}

HRESULT ZollectionObject::ItemByIndex(LONG index, IDispatch** item) {
  return kZollection.give(L"Function ItemByIndex", {}, item,
                          [&] { return itemOf(recordAt(index, L"Zollection.ItemByIndex")); });
}

HRESULT ZollectionObject::ItemByKey(BSTR* key, IDispatch** item) {
  // The source names the index member: deliberate.
  return kZollection.give(L"Function ItemByKey", {key}, item,
                          [&] { return itemOf(recordByKey(*key, L"Zollection.ItemByIndex")); });
}

// No error frame: a failed conversion reaches the caller as it is.
HRESULT ZollectionObject::get_Exists(VARIANT key, VARIANT_BOOL* exists) {
  return atBoundary(__uuidof(_Zollection), {exists}, [&] {
    *exists = VARIANT_FALSE;
    Variant holder;
    const VARIANT& plain = dereferenced(key, holder);
    if (isPosition(plain)) {
      *exists = toBoolean(isListed(toLong(plain)));
    } else if (typeOf(plain) == VT_BSTR) {
      *exists = toBoolean(keyExists(V_BSTR(&plain)));
    }
  });
}

// Its frame, and that of the next, are those of what it shares with other members.
HRESULT ZollectionObject::KeyExists(BSTR key, VARIANT_BOOL* exists) {
  return atBoundary(__uuidof(_Zollection), {exists}, [&] {
    *exists = VARIANT_FALSE;
    *exists = toBoolean(keyExists(key));
  });
}

HRESULT ZollectionObject::IndexFromKey(BSTR key, LONG* index) {
  return atBoundary(__uuidof(_Zollection), {index}, [&] {
    *index = 0;
    *index = indexFromKey(key);
  });
}

HRESULT ZollectionObject::get_Key(LONG index, BSTR* key) {
  return kZollection.give(L"Get Key", {}, key, [&] {
    return Text(viewOf(recordAt(index, L"Zollection.Key (Get)")->key));
  });
}

HRESULT ZollectionObject::put_Key(LONG index, BSTR key) {
  return kZollection.run(L"Let Key", {}, [&] { changeKey(index, key); });
}

HRESULT ZollectionObject::NewEnum(IEnumVARIANT** enumerator) {
  return kZollection.give(L"Function NewEnum", {}, enumerator, [&] {
    if (!store_.heap()) Class_Initialize();
    return CreateIEnumVARIANT(store_.heap(), store_.items());
  });
}

ItemRecord* ZollectionObject::recordAt(LONG position, const wchar_t* source) const {
  if (!isListed(position)) raiseOwn(runtime::kInvalidArrayIndex, source);
  return store_.at(position);
}

ItemRecord* ZollectionObject::recordByKey(BSTR key, const wchar_t* source) {
  ItemRecord* const record = index_.pvGetItemByKey(key);
  if (!record) raiseOwn(runtime::kInvalidArrayIndex, source);
  return record;
}

bool ZollectionObject::keyExists(BSTR key) {
  return framed(procedure(L"Function KeyExists"),
                [&] { return index_.pvGetItemByKey(key) != nullptr; });
}

// One-based; -1 for an unknown key. A record that is no longer listed counts as behind the last.
LONG ZollectionObject::indexFromKey(BSTR key) {
  return framed(procedure(L"Function IndexFromKey"), [&]() -> LONG {
    const ItemRecord* const record = index_.pvGetItemByKey(key);
    if (!record) return -1;
    const LONG position = store_.positionOf(record);
    return position == 0 ? store_.count() + 1 : position;
  });
}

// The new key is only held against the others, never entered: deliberate.
void ZollectionObject::changeKey(LONG index, BSTR newKey) {
  constexpr wchar_t kSource[] = L"Zollection.Key (LET)";
  ItemRecord* const record = recordAt(index, kSource);
  if (!viewOf(newKey).empty() && index_.pvGetItemByKey(newKey)) {
    raiseOwn(runtime::kDuplicateKey, kSource);
  }
  // The old text stays with the record, where a get of Key still finds it.
  if (record->key) index_.unlink(record->key);
}

}  // namespace zsupport
