// Zollection: finding items and their keys.
#include "automation/boundary.h"
#include "automation/variant.h"
#include "collection/enumerator.h"
#include "collection/zollection.h"
#include "events/procedure.h"

namespace zsupport {
namespace {

VARIANT_BOOL toBoolean(bool value) { return value ? VARIANT_TRUE : VARIANT_FALSE; }

// A reference for the caller; null while the item is being let go.
IDispatch* handOut(const ItemRecord* record) {
  return record ? ComPtr<IDispatch>(record->item).detach() : nullptr;
}

}  // namespace

HRESULT ZollectionObject::get_Item(VARIANT key, IDispatch** item) {
  return atBoundary(__uuidof(_Zollection), [&] {
    requirePointer(item);
    *item = nullptr;
    *item = handOut(framed(procedure(L"Get Item"), [&]() -> ItemRecord* {
      constexpr wchar_t kSource[] = L"Zollection.Item (Get)";
      Variant holder;
      const VARIANT& plain = dereferenced(key, holder);
      if (isPosition(plain)) return recordAt(toLong(plain), kSource);
      if (typeOf(plain) == VT_BSTR) return recordByKey(V_BSTR(&plain), kSource);
      raiseOwn(runtime::kInvalidCall, kSource);
    }));
  });
}

HRESULT ZollectionObject::ItemByIndex(LONG index, IDispatch** item) {
  return atBoundary(__uuidof(_Zollection), [&] {
    requirePointer(item);
    *item = nullptr;
    *item = handOut(framed(procedure(L"Function ItemByIndex"),
                           [&] { return recordAt(index, L"Zollection.ItemByIndex"); }));
  });
}

HRESULT ZollectionObject::ItemByKey(BSTR* key, IDispatch** item) {
  return atBoundary(__uuidof(_Zollection), [&] {
    requirePointers(key, item);
    *item = nullptr;
    // The source names the index member: deliberate.
    *item = handOut(framed(procedure(L"Function ItemByKey"),
                           [&] { return recordByKey(*key, L"Zollection.ItemByIndex"); }));
  });
}

HRESULT ZollectionObject::get_Exists(VARIANT key, VARIANT_BOOL* exists) {
  return atBoundary(__uuidof(_Zollection), [&] {
    requirePointer(exists);
    *exists = VARIANT_FALSE;
    // No error frame: a failed conversion reaches the caller as it is.
    Variant holder;
    const VARIANT& plain = dereferenced(key, holder);
    if (isPosition(plain)) {
      *exists = toBoolean(isListed(toLong(plain)));
    } else if (typeOf(plain) == VT_BSTR) {
      *exists = toBoolean(keyExists(V_BSTR(&plain)));
    }
  });
}

HRESULT ZollectionObject::KeyExists(BSTR key, VARIANT_BOOL* exists) {
  return atBoundary(__uuidof(_Zollection), [&] {
    requirePointer(exists);
    *exists = VARIANT_FALSE;
    *exists = toBoolean(keyExists(key));
  });
}

HRESULT ZollectionObject::IndexFromKey(BSTR key, LONG* index) {
  return atBoundary(__uuidof(_Zollection), [&] {
    requirePointer(index);
    *index = 0;
    *index = indexFromKey(key);
  });
}

HRESULT ZollectionObject::get_Key(LONG index, BSTR* key) {
  return atBoundary(__uuidof(_Zollection), [&] {
    requirePointer(key);
    *key = nullptr;
    Text stored = framed(procedure(L"Get Key"), [&] {
      return Text(viewOf(recordAt(index, L"Zollection.Key (Get)")->key));
    });
    *key = stored.detach();
  });
}

HRESULT ZollectionObject::NewEnum(IEnumVARIANT** enumerator) {
  return atBoundary(__uuidof(_Zollection), [&] {
    requirePointer(enumerator);
    *enumerator = nullptr;
    *enumerator = framed(procedure(L"Function NewEnum"), [&] {
                    if (!store_.heap()) Class_Initialize();
                    return CreateIEnumVARIANT(store_.heap(), store_.items());
                  }).detach();
  });
}

HRESULT ZollectionObject::put_Key(LONG index, BSTR key) {
  return atBoundary(__uuidof(_Zollection),
                    [&] { framed(procedure(L"Let Key"), [&] { removeOldKey(index, key); }); });
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

// What a put of Key does. The new key is only held against the others, never entered: deliberate.
void ZollectionObject::removeOldKey(LONG index, BSTR newKey) {
  constexpr wchar_t kSource[] = L"Zollection.Key (LET)";
  ItemRecord* const record = recordAt(index, kSource);
  if (!viewOf(newKey).empty() && index_.pvGetItemByKey(newKey)) {
    raiseOwn(runtime::kDuplicateKey, kSource);
  }
  // The old text stays with the record, where a get of Key still finds it.
  if (record->key) index_.unlink(record->key);
}

}  // namespace zsupport
