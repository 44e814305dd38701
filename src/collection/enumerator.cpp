#include "collection/enumerator.h"

#include <oleauto.h>

#include <cstddef>

#include "automation/error.h"
#include "events/hand_built.h"
#include "frame/mdlErrorHandling.h"

namespace zsupport {
namespace {

struct EnumVariant;

// The order of IEnumVARIANT.
struct EnumVariantTable {
  HRESULT(STDMETHODCALLTYPE* QueryInterface)(EnumVariant*, REFIID, void**);
  ULONG(STDMETHODCALLTYPE* AddRef)(EnumVariant*);
  ULONG(STDMETHODCALLTYPE* Release)(EnumVariant*);
  HRESULT(STDMETHODCALLTYPE* Next)(EnumVariant*, ULONG, VARIANT*, ULONG*);
  HRESULT(STDMETHODCALLTYPE* Skip)(EnumVariant*, ULONG);
  HRESULT(STDMETHODCALLTYPE* Reset)(EnumVariant*);
  HRESULT(STDMETHODCALLTYPE* Clone)(EnumVariant*, IEnumVARIANT**);
};
static_assert(sizeof(EnumVariantTable) == 28);

struct EnumVariant {
  EnumVariantTable* table;
  LONG references;
  PrivateHeap* heap;   // held: both blocks are in it
  ItemArray* records;  // the collection's; null once that has gone
  LONG count;          // when the enumerator was made
  LONG position;       // one-based, of the next element
};
static_assert(sizeof(EnumVariant) == 24);
static_assert(offsetof(EnumVariant, records) == 12);
static_assert(offsetof(EnumVariant, position) == 20);

// The block that an enumerator is in: in front of it stands its place among the array's readers.
struct EnumVariantBlock {
  ArrayReader reader;
  EnumVariant enumerator;
};

EnumVariantBlock* blockOf(EnumVariant* self) {
  return reinterpret_cast<EnumVariantBlock*>(reinterpret_cast<std::byte*>(self) -
                                             offsetof(EnumVariantBlock, enumerator));
}

HRESULT STDMETHODCALLTYPE IEnumVariant_QueryInterface(EnumVariant* self, REFIID riid, void** ppv) {
  return answerTo({&IID_IUnknown, &IID_IEnumVARIANT}, self, riid, ppv,
                  L"Function IEnumVariant_QueryInterface");
}

ULONG STDMETHODCALLTYPE IEnumVariant_AddRef(EnumVariant* self) {
  return addReference(self, L"Function IEnumVariant_AddRef");
}

ULONG STDMETHODCALLTYPE IEnumVariant_Release(EnumVariant* self) {
  return dropReference(self, L"Function IEnumVariant_Release", [&] {
    const auto heap = ComPtr<PrivateHeap>::attach(self->heap);
    if (self->records) self->records->removeReader(blockOf(self)->reader);
    heap->free(self->table);
    heap->free(blockOf(self));
  });
}

// One element a call, whatever the caller asked for: deliberate.
HRESULT STDMETHODCALLTYPE IEnumVariant_Next(EnumVariant* self, ULONG, VARIANT* rgVar,
                                            ULONG* pceltFetched) {
  if (pceltFetched) *pceltFetched = 0;
  if (!rgVar) return E_POINTER;
  return atEntryPoint({kSinkModule, L"Function IEnumVariant_Next"}, S_FALSE, [&]() -> HRESULT {
    if (self->position > self->count || !self->records) return S_FALSE;
    const ItemRecord* const record = (*self->records)[self->position];
    V_VT(rgVar) = VT_DISPATCH;
    V_DISPATCH(rgVar) = ComPtr<IDispatch>(record->item).detach();
    self->position = addChecked(self->position, 1);
    if (pceltFetched) *pceltFetched = 1;
    return S_OK;
  });
}

// Past the end is allowed: the next Next says so.
HRESULT STDMETHODCALLTYPE IEnumVariant_Skip(EnumVariant* self, ULONG celt) {
  return atEntryPoint({kSinkModule, L"Function IEnumVariant_Skip"}, toHresult(runtime::kOverflow),
                      [&]() -> HRESULT {
                        if (celt > LONG_MAX) throw makeError(runtime::kOverflow);
                        self->position = addChecked(self->position, static_cast<LONG>(celt));
                        return S_OK;
                      });
}

HRESULT STDMETHODCALLTYPE IEnumVariant_Reset(EnumVariant* self) {
  self->position = 1;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE IEnumVariant_Clone(EnumVariant*, IEnumVARIANT**) { return E_NOTIMPL; }

constexpr EnumVariantTable kEntryPoints = {
    IEnumVariant_QueryInterface, IEnumVariant_AddRef, IEnumVariant_Release, IEnumVariant_Next,
    IEnumVariant_Skip,           IEnumVariant_Reset,  IEnumVariant_Clone,
};

}  // namespace

ComPtr<IEnumVARIANT> CreateIEnumVARIANT(PrivateHeap* heap, ItemArray& records) {
  return framed({kSinkModule, L"Function CreateIEnumVARIANT"}, [&] {
    if (!heap) throw makeError(runtime::kOutOfMemory);
    auto* const table = heap->allocate<EnumVariantTable>();
    if (!table) throw makeError(runtime::kOutOfMemory);
    *table = kEntryPoints;
    auto* const block = heap->allocate<EnumVariantBlock>();
    if (!block) {
      heap->free(table);
      throw makeError(runtime::kOutOfMemory);
    }
    EnumVariant& enumerator = block->enumerator;
    enumerator = {table, 1, ComPtr(heap).detach(), nullptr, records.size(), 1};
    block->reader.array = &enumerator.records;
    records.addReader(block->reader);
    return ComPtr<IEnumVARIANT>::attach(reinterpret_cast<IEnumVARIANT*>(&enumerator));
  });
}

}  // namespace zsupport
