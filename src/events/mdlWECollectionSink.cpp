#include "events/mdlWECollectionSink.h"

#include "automation/error.h"
#include "frame/mdlErrorHandling.h"

namespace zsupport {
namespace {

constexpr wchar_t kModule[] = L"mdlWECollectionSink";

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

HRESULT STDMETHODCALLTYPE EventSink_QueryInterface(EventSink* self, REFIID riid, void** ppv) {
  return atEntryPoint({kModule, L"Function EventSink_QueryInterface"}, E_UNEXPECTED,
                      [&]() -> HRESULT {
                        if (!ppv) return E_POINTER;
                        *ppv = nullptr;
                        if (!IsEqualGUID(riid, IID_IUnknown) && !IsEqualGUID(riid, IID_IDispatch) &&
                            !IsEqualGUID(riid, self->sourceIID)) {
                          return E_NOINTERFACE;
                        }
                        self->references = addChecked(self->references, 1);
                        *ppv = self;
                        return S_OK;
                      });
}

ULONG STDMETHODCALLTYPE EventSink_AddRef(EventSink* self) {
  return atEntryPoint({kModule, L"Function EventSink_AddRef"}, ULONG{0}, [&] {
    self->references = addChecked(self->references, 1);
    return static_cast<ULONG>(self->references);
  });
}

ULONG STDMETHODCALLTYPE EventSink_Release(EventSink* self) {
  return atEntryPoint({kModule, L"Function EventSink_Release"}, ULONG{0}, [&] {
    const LONG left = self->references = subtractChecked(self->references, 1);
    if (left == 0) {
      GlobalFree(self->table);
      self->table = nullptr;
      self->collection = nullptr;
      GlobalFree(self);
    }
    return static_cast<ULONG>(left);
  });
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
  return atEntryPoint({kModule, L"Function EventSink_Invoke"}, S_OK, [&]() -> HRESULT {
    if (self->collection && self->record) {
      self->collection->RaiseTheEvent(toPtrItem(self->record), dispIdMember,
                                      reinterpret_cast<LONG>(pDispParams));
    }
    return S_OK;
  });
}

constexpr EventSinkTable kEntryPoints = {
    EventSink_QueryInterface,   EventSink_AddRef,      EventSink_Release,
    EventSink_GetTypeInfoCount, EventSink_GetTypeInfo, EventSink_GetIDsOfNames,
    EventSink_Invoke,
};

}  // namespace

ComPtr<IUnknown> CreateEventSinkObj(REFIID iid, const ItemRecord* record, _Zollection* collection) {
  return framed({kModule, L"Function CreateEventSinkObj"}, [&] {
    auto* const table = static_cast<EventSinkTable*>(GlobalAlloc(GPTR, sizeof(EventSinkTable)));
    if (!table) raiseOwn(runtime::kOutOfMemory, L"CreateEventSinkObj");
    *table = kEntryPoints;

    auto* const sink = static_cast<EventSink*>(GlobalAlloc(GPTR, sizeof(EventSink)));
    if (!sink) {
      GlobalFree(table);
      raiseOwn(runtime::kOutOfMemory, L"CreateEventSinkObj");
    }
    *sink = {table, 1, iid, collection, record};
    return ComPtr<IUnknown>::attach(reinterpret_cast<IUnknown*>(sink));
  });
}

void silenceEventSink(IUnknown* sink) {
  if (sink) reinterpret_cast<EventSink*>(sink)->record = nullptr;
}

}  // namespace zsupport
