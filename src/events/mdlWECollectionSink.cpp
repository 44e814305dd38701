#include "events/mdlWECollectionSink.h"

#include "automation/error.h"
#include "events/dual_table.h"
#include "events/event_sink.h"
#include "frame/mdlErrorHandling.h"

namespace zsupport {
namespace {

HRESULT STDMETHODCALLTYPE EventSink_QueryInterface(EventSink* self, REFIID riid, void** ppv) {
  return answerTo({&IID_IUnknown, &IID_IDispatch, &self->sourceIID}, self, riid, ppv,
                  L"Function EventSink_QueryInterface");
}

ULONG STDMETHODCALLTYPE EventSink_AddRef(EventSink* self) {
  return addReference(self, L"Function EventSink_AddRef");
}

ULONG releaseSink(EventSink* self, void (*freeTable)(EventSinkTable*)) {
  return dropReference(self, L"Function EventSink_Release", [&] {
    freeTable(self->table);
    self->table = nullptr;
    self->collection = nullptr;
    GlobalFree(self);
  });
}

void freePlainTable(EventSinkTable* table) { GlobalFree(table); }

ULONG STDMETHODCALLTYPE EventSink_Release(EventSink* self) {
  return releaseSink(self, freePlainTable);
}

ULONG STDMETHODCALLTYPE DualSink_Release(EventSink* self) {
  return releaseSink(self, freeDualTable);
}

HRESULT STDMETHODCALLTYPE EventSink_GetTypeInfoCount(EventSink*, UINT* pctinfo) {
  if (pctinfo) *pctinfo = 0;
  return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE EventSink_GetTypeInfo(EventSink*, UINT, LCID, ITypeInfo** ppTInfo) {
  if (ppTInfo) *ppTInfo = nullptr;
  return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE EventSink_GetIDsOfNames(EventSink*, REFIID, LPOLESTR*, UINT, LCID,
                                                  DISPID*) {
  return E_NOTIMPL;
}

// Answers 0 whatever the collection did: the source has no part in its errors.
HRESULT STDMETHODCALLTYPE EventSink_Invoke(EventSink* self, DISPID dispIdMember, REFIID, LCID, WORD,
                                           DISPPARAMS* pDispParams, VARIANT*, EXCEPINFO*, UINT*) {
  return atEntryPoint({kSinkModule, L"Function EventSink_Invoke"}, S_OK, [&]() -> HRESULT {
    deliver(*self, dispIdMember, pDispParams);
    return S_OK;
  });
}

constexpr EventSinkTable kEntryPoints = {
    EventSink_QueryInterface,   EventSink_AddRef,      EventSink_Release,
    EventSink_GetTypeInfoCount, EventSink_GetTypeInfo, EventSink_GetIDsOfNames,
    EventSink_Invoke,
};

EventSinkTable* makePlainTable() {
  auto* const table = static_cast<EventSinkTable*>(GlobalAlloc(GPTR, sizeof(EventSinkTable)));
  if (table) *table = kEntryPoints;
  return table;
}

EventSinkTable* makeTable(ITypeInfo* dual) {
  if (!dual) return makePlainTable();
  EventSinkTable head = kEntryPoints;
  head.Release = DualSink_Release;
  return makeDualTable(dual, head);
}

}  // namespace

ComPtr<IUnknown> CreateEventSinkObj(REFIID iid, const ItemRecord* record, _Zollection* collection,
                                    ITypeInfo* dual) {
  return framed({kSinkModule, L"Function CreateEventSinkObj"}, [&] {
    EventSinkTable* const table = makeTable(dual);
    if (!table) raiseOwn(runtime::kOutOfMemory, L"CreateEventSinkObj");
    auto* const sink = static_cast<EventSink*>(GlobalAlloc(GPTR, sizeof(EventSink)));
    if (!sink) {
      dual ? freeDualTable(table) : freePlainTable(table);
      raiseOwn(runtime::kOutOfMemory, L"CreateEventSinkObj");
    }
    *sink = {table, 1, iid, collection, record};
    return ComPtr<IUnknown>::attach(reinterpret_cast<IUnknown*>(sink));
  });
}

void silenceEventSink(IUnknown* sink) {
  if (sink) reinterpret_cast<EventSink*>(sink)->record = nullptr;
}

_Zollection* collectionBehind(IDispatch* client) {
  const auto* const sink = reinterpret_cast<const EventSink*>(client);
  return sink->table->Invoke == EventSink_Invoke && sink->record ? sink->collection : nullptr;
}

}  // namespace zsupport
