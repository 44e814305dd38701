// The record of one item of a collection. Its address is the item's identity on the road of an
// event: the sink carries it, and the collection turns it back into a position.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include <cstddef>

namespace zsupport {

struct ItemRecord {
  IDispatch* item;  // owned; null until the item is fully added
  IUnknown* sink;   // owned; null when no sink was made
  LONG cookie;      // of the connection, 0 when there is none
  IID sourceIID;    // of the interface that the sink listens to
  OLECHAR* key;     // in the key index, 0 when the item has no key
};

static_assert(sizeof(ItemRecord) == 32);
static_assert(offsetof(ItemRecord, sink) == 4);
static_assert(offsetof(ItemRecord, cookie) == 8);
static_assert(offsetof(ItemRecord, sourceIID) == 12);
static_assert(offsetof(ItemRecord, key) == 28);

// The form in which a record's address travels through automation.
inline LONG toPtrItem(const ItemRecord* record) { return reinterpret_cast<LONG>(record); }
inline ItemRecord* fromPtrItem(LONG lPtrItem) { return reinterpret_cast<ItemRecord*>(lPtrItem); }

}  // namespace zsupport
