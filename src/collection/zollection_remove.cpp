// Zollection: how items leave.
//
// RemoveByIndex disconnects and releases the item before its key and its position go; RemoveByKey
// takes key and position first. Both orders are deliberate: they show in what a handler sees that
// is called back meanwhile. A source that fails to let go of its sink does not keep its item in
// the collection: the removal is finished, and then the failure travels on.
#include <utility>

#include "automation/boundary.h"
#include "automation/foreign_unwind.h"
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

// What a record owns, taken from it; the item is released first.
struct Owned {
  explicit Owned(ItemRecord* record) {
    silenceEventSink(record->sink);
    sink = ComPtr<IUnknown>::attach(std::exchange(record->sink, nullptr));
    item = ComPtr<IDispatch>::attach(std::exchange(record->item, nullptr));
  }
  ComPtr<IUnknown> sink;
  ComPtr<IDispatch> item;
};

// Withdraws the record's events, and gives back what it owns.
void release(ItemRecord* record, std::exception_ptr& failure) noexcept {
  if (!record->item) return;
  try {
    pvUnAdvise(record);
  } catch (...) {
    if (!failure) failure = std::current_exception();
  }
  const Owned owned(record);
}

}  // namespace

// For members in the midst of which foreign code may release the collection.
template <class Call>
HRESULT ZollectionObject::reentrant(Call&& call) {
  ComPtr<_Zollection> alive(this);
  return passingExceptions(call, [&] { alive.reset(); });
}

HRESULT ZollectionObject::Clear() {
  return reentrant([&] { return kZollection.run(L"Sub Clear", {}, [&] { clear(); }); });
}

HRESULT ZollectionObject::Remove(VARIANT key) {
  const auto body = [&] {
    Variant holder;
    const VARIANT& plain = dereferenced(key, holder);
    if (isPosition(plain)) return removeByIndex(toLong(plain));
    if (typeOf(plain) == VT_BSTR) return removeByKey(V_BSTR(&plain));
    // Any other type, in silence: deliberate.
  };
  return reentrant([&] { return kZollection.run(L"Sub Remove", {}, body); });
}

// The frames of these two are those of what they share with Remove.
HRESULT ZollectionObject::RemoveByKey(BSTR key) {
  return reentrant(
      [&] { return atBoundary(__uuidof(_Zollection), {}, [&] { removeByKey(key); }); });
}

HRESULT ZollectionObject::RemoveByIndex(LONG index) {
  return reentrant(
      [&] { return atBoundary(__uuidof(_Zollection), {}, [&] { removeByIndex(index); }); });
}

void ZollectionObject::removeByIndex(LONG index) {
  framed(procedure(L"Sub RemoveByIndex"), [&] {
    ItemRecord* const record = recordAt(index, L"Zollection.RemoveByIndex");
    const bool isLeaving = store_.isHeld(record);
    if (!isLeaving && !store_.hasFurtherListing(record)) return dismiss(record);
    // Somebody else ends it, or it has another listing to live for.
    if (store_.isListed(record)) store_.unlist(index);
    store_.settle();
    if (!store_.isListed(record)) removeKey(record);
    store_.shrink();
  });
}

void ZollectionObject::removeByKey(BSTR key) {
  bool absent = false;
  framed(procedure(L"Sub RemoveByKey"), [&] {
    ItemRecord* const record = index_.take(key);
    absent = !record;
    if (absent) return;
    LONG position = store_.positionOf(record);
    if (position == 0 && store_.isListed(record)) {
      store_.settle();  // an insertion's gap has pushed it beyond Count
      position = store_.positionOf(record);
    }
    const bool isShared = store_.isHeld(record) || store_.hasFurtherListing(record);
    // Until the item has gone, Count stands.
    if (position != 0) store_.moveDown(position);
    if (!isShared) return dismiss(record);
    store_.settle();
    store_.shrink();
  });
  // Raised with the frame switched off: neither recorded nor labelled.
  if (absent) throw makeError(runtime::kInvalidCall, L"Zollection.RemoveByKey");
}

// Lets go of a record that nobody else holds; then what is left of it goes.
void ZollectionObject::dismiss(ItemRecord* record) {
  HeldRecord held(store_, record);
  std::exception_ptr failure;
  const auto bury = [&]() noexcept {
    if (!held.isCurrent()) return held.letGo();
    removeKey(record);
    held.free();
    store_.shrink();
  };
  passingExceptions([&] { release(record, failure); },
                    [&] {
                      const Owned owned(record);  // goes last, as it may raise again
                      bury();
                    });
  bury();
  rethrowIf(failure);
}

void ZollectionObject::clear() {
  if (clearing_) return;  // called back by an item that is being let go: it is being done
  std::exception_ptr failure;
  const auto body = [&] {
    try {
      pvClear();
    } catch (...) {
      failure = std::current_exception();
    }
  };
  passingExceptions(body, [&] { clearing_ = false; });
  clearing_ = false;
  Class_Initialize();
  rethrowIf(failure);
}

// Leaves the collection without a heap, and closed to new items.
void ZollectionObject::pvClear() {
  framed(procedure(L"Sub pvClear"), [&] {
    clearing_ = true;
    std::exception_ptr failure;
    closeAll(failure);
    rethrowIf(failure);
  });
}

// Items that are let go stay listed, empty, until all are. Foreign code may take listings out
// meanwhile, which moves items to positions that were passed already: then the search starts over.
void ZollectionObject::letGoOfAll(std::exception_ptr& failure) noexcept {
  store_.settle();
  for (LONG position = 1; position <= store_.count(); ++position) {
    ItemRecord* const record = store_.at(position);
    if (!record->item || store_.isHeld(record)) continue;
    const ULONG before = store_.changes();
    letGoOf(record, failure);
    if (store_.changes() != before) position = 0;
  }
  while (ItemRecord* const stray = store_.findStray()) {
    letGoOf(stray, failure);
    removeKey(stray);
    store_.freeRecord(stray);
  }
}

void ZollectionObject::letGoOf(ItemRecord* record, std::exception_ptr& failure) noexcept {
  HeldRecord held(store_, record);
  passingExceptions([&] { release(record, failure); },
                    [&] {
                      const Owned owned(record);
                      held.letGo();
                    });
}

// An item that raises does not keep the others: each round lets go of one at least.
void ZollectionObject::closeAll(std::exception_ptr& failure) noexcept {
  passingExceptions([&] { letGoOfAll(failure); }, [&] { closeAll(failure); });
  sources_.close();
  index_.close();
  store_.close();
}

void ZollectionObject::removeKey(ItemRecord* record) {
  if (OLECHAR* const key = std::exchange(record->key, nullptr)) index_.pvRemoveKey(key);
}

}  // namespace zsupport
