// Zollection: how items leave.
//
// RemoveByIndex disconnects and releases the item before its key and its position go; RemoveByKey
// takes key and position first. Both orders are deliberate: they show in what a handler sees that
// is called back meanwhile. A source that fails to let go of its sink does not keep its item in
// the collection: the removal is finished, and then the failure travels on.
#include <optional>

#include "automation/boundary.h"
#include "automation/variant.h"
#include "collection/zollection.h"
#include "events/connection.h"
#include "events/mdlWECollectionSink.h"
#include "events/procedure.h"

namespace zsupport {
namespace {

void rethrowIf(const std::exception_ptr& failure) {
  if (failure) std::rethrow_exception(failure);
}

}  // namespace

HRESULT ZollectionObject::Clear() {
  const ComPtr<_Zollection> alive(this);
  return atBoundary(__uuidof(_Zollection),
                    [&] { framed(procedure(L"Sub Clear"), [&] { clear(); }); });
}

HRESULT ZollectionObject::Remove(VARIANT key) {
  const ComPtr<_Zollection> alive(this);
  return atBoundary(__uuidof(_Zollection), [&] {
    framed(procedure(L"Sub Remove"), [&] {
      Variant holder;
      const VARIANT& plain = dereferenced(key, holder);
      if (isPosition(plain)) return removeByIndex(toLong(plain));
      if (typeOf(plain) == VT_BSTR) return removeByKey(V_BSTR(&plain));
      // Any other type, in silence: deliberate.
    });
  });
}

HRESULT ZollectionObject::RemoveByKey(BSTR key) {
  const ComPtr<_Zollection> alive(this);
  return atBoundary(__uuidof(_Zollection), [&] { removeByKey(key); });
}

HRESULT ZollectionObject::RemoveByIndex(LONG index) {
  const ComPtr<_Zollection> alive(this);
  return atBoundary(__uuidof(_Zollection), [&] { removeByIndex(index); });
}

void ZollectionObject::removeByIndex(LONG index) {
  framed(procedure(L"Sub RemoveByIndex"), [&] {
    ItemRecord* const record = recordAt(index, L"Zollection.RemoveByIndex");
    if (store_.isBusy(record) || store_.hasFurtherListing(record)) {
      // Somebody else ends it, or it has another listing to live for.
      if (store_.unlist(index)) removeKey(record);
      return store_.shrink();
    }
    const Holding held = hold(record);
    std::exception_ptr failure;
    if (letGo(held, failure)) {
      removeKey(record);
      store_.unlistAll(record, index);
      store_.freeRecord(record);
      store_.shrink();
    }
    rethrowIf(failure);
  });
}

void ZollectionObject::removeByKey(BSTR key) {
  bool absent = false;
  framed(procedure(L"Sub RemoveByKey"), [&] {
    ItemRecord* const record = index_.take(key);
    absent = !record;
    if (absent) return;
    const LONG position = store_.positionOf(record);
    if (position != 0 && (store_.isBusy(record) || store_.hasFurtherListing(record))) {
      store_.unlist(position);
      return store_.shrink();
    }
    if (store_.isBusy(record)) return;
    // Until the item has gone, Count stands, and the last item is found at two positions.
    const Holding held = hold(record);
    std::optional<ItemStore::Move> move;
    if (position != 0) move = store_.moveDown(position);
    std::exception_ptr failure;
    if (letGo(held, failure)) {
      if (move) store_.closeUp(*move);
      if (!store_.isUnlisted(record)) store_.unlistAll(record, store_.count());
      store_.freeRecord(record);
      store_.shrink();
    }
    rethrowIf(failure);
  });
  // Raised with the frame switched off: neither recorded nor labelled.
  if (absent) throw makeError(runtime::kInvalidCall, L"Zollection.RemoveByKey");
}

void ZollectionObject::clear() {
  if (clearing_) return;  // called back by an item that is being let go: it is being done
  std::exception_ptr failure;
  try {
    pvClear();
  } catch (...) {
    failure = std::current_exception();
  }
  clearing_ = false;
  Class_Initialize();
  rethrowIf(failure);
}

// Leaves the collection without a heap, and closed to new items.
void ZollectionObject::pvClear() {
  framed(procedure(L"Sub pvClear"), [&] {
    clearing_ = true;
    std::exception_ptr failure;
    try {
      letGoOfAll(failure);
    } catch (...) {
      if (!failure) failure = std::current_exception();
    }
    index_.close();
    store_.close();
    rethrowIf(failure);
  });
}

// Items that are let go stay listed, empty, until all are. Foreign code may take listings out
// meanwhile, which moves items to positions that were passed already: then the search starts over.
void ZollectionObject::letGoOfAll(std::exception_ptr& failure) {
  for (LONG position = 1; position <= store_.count(); ++position) {
    ItemRecord* const record = store_.at(position);
    if (!record->item || store_.isBusy(record)) continue;
    const ULONG before = store_.changes();
    letGo(hold(record), failure);
    store_.setIdle(record);
    if (store_.changes() != before) position = 0;
  }
  while (ItemRecord* const stray = store_.findStray()) {
    letGo(hold(stray), failure);
    removeKey(stray);
    store_.freeRecord(stray);
  }
}

ZollectionObject::Holding ZollectionObject::hold(ItemRecord* record) {
  store_.setBusy(record);
  return {record, ComPtr(store_.heap())};
}

// Withdraws the record's events and gives back its references, if that has not been done. False
// when the collection was cleared meanwhile: then the record is no longer in it.
bool ZollectionObject::letGo(const Holding& held, std::exception_ptr& failure) noexcept {
  ItemRecord* const record = held.record;
  if (record->item) {
    try {
      pvUnAdvise(record);
    } catch (...) {
      if (!failure) failure = std::current_exception();
    }
    silenceEventSink(record->sink);
    auto item = ComPtr<IDispatch>::attach(std::exchange(record->item, nullptr));
    auto sink = ComPtr<IUnknown>::attach(std::exchange(record->sink, nullptr));
    item.reset();
    sink.reset();
  }
  return isCurrent(held);
}

void ZollectionObject::removeKey(ItemRecord* record) {
  if (OLECHAR* const key = std::exchange(record->key, nullptr)) index_.pvRemoveKey(key);
}

}  // namespace zsupport
