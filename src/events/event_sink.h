// The layout of an event sink, which is its contract: a block whose first field is its table of
// entry points, of its own, and whose second is its reference count.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include <cstddef>

#include "ZSupport.h"
#include "events/hand_built.h"
#include "events/item_record.h"

namespace zsupport {

struct EventSink;

// The order of IDispatch.
struct EventSinkTable {
  HRESULT(STDMETHODCALLTYPE* QueryInterface)(EventSink*, REFIID, void**);
  ULONG(STDMETHODCALLTYPE* AddRef)(EventSink*);
  ULONG(STDMETHODCALLTYPE* Release)(EventSink*);
  HRESULT(STDMETHODCALLTYPE* GetTypeInfoCount)(EventSink*, UINT*);
  HRESULT(STDMETHODCALLTYPE* GetTypeInfo)(EventSink*, UINT, LCID, ITypeInfo**);
  HRESULT(STDMETHODCALLTYPE* GetIDsOfNames)(EventSink*, REFIID, LPOLESTR*, UINT, LCID, DISPID*);
  HRESULT(STDMETHODCALLTYPE* Invoke)
  (EventSink*, DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*);
};
static_assert(sizeof(EventSinkTable) == 28);

struct EventSink {
  EventSinkTable* table;
  LONG references;
  IID sourceIID;
  _Zollection* collection;   // not referenced
  const ItemRecord* record;  // null once the record has gone
};
static_assert(sizeof(EventSink) == 32);
static_assert(offsetof(EventSink, sourceIID) == 8);
static_assert(offsetof(EventSink, collection) == 24);
static_assert(offsetof(EventSink, record) == 28);

// Hands an event to the sink's collection, if its item still has a record.
inline void deliver(const EventSink& sink, DISPID event, DISPPARAMS* arguments) {
  if (!sink.collection || !sink.record) return;
  sink.collection->RaiseTheEvent(toPtrItem(sink.record), event, reinterpret_cast<LONG>(arguments));
}

}  // namespace zsupport
