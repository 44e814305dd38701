// Zollection: how items enter.
//
// The order of the steps is part of the behaviour. The array is moved before the item is connected
// and before its key is entered, and the move is not undone when one of these fails; a duplicate
// key does not withdraw the connection made just before.
#include <windows.h>
#include <oleauto.h>

#include <new>

#include "automation/boundary.h"
#include "automation/variant.h"
#include "collection/zollection.h"
#include "events/connection.h"
#include "events/mdlWECollectionSink.h"
#include "events/procedure.h"
#include "events/source_discovery.h"

namespace zsupport {
namespace {

constexpr wchar_t kAddSource[] = L"Zollection.Add";

const wchar_t* connectionFailure(LONG reason) {
  switch (reason) {
    case wecErrSourceNotDispinterface:
      return L"Object default source interface is not supported, only dispinterfaces are "
             L"supported.";
    case wecErrSourceInterfaceNotFound:
      return L"Object support connection points but no connection point was found.";
    case wecErrCannotCreateSinkObject:
      return L"Cannot create the sink object.";
    default:
      return L"";
  }
}

// A caller's text, safe from what the caller's handlers do to the variable meanwhile.
Text copyOf(BSTR text) { return viewOf(text).empty() ? Text() : Text(viewOf(text)); }

// VarSub takes only some of the whole numbers, and lets them wrap round.
LONG lessOne(const VARIANT& value) {
  if (isWhole(value)) {
    const LONGLONG number = toLongLong(value);
    if (number <= LONG_MIN || number > LONGLONG{LONG_MAX} + 1) throw makeError(runtime::kOverflow);
    return static_cast<LONG>(number - 1);
  }
  VARIANT one;
  V_VT(&one) = VT_I2;
  V_I2(&one) = 1;
  Variant difference;
  checkPlatform(VarSub(const_cast<VARIANT*>(&value), &one, difference.put()));
  return toLong(difference.get());
}

}  // namespace

HRESULT ZollectionObject::Add(IDispatch* item, BSTR* sourceIID, BSTR* key, VARIANT* before,
                              VARIANT* after) {
  const ComPtr<_Zollection> alive(this);
  return atBoundary(__uuidof(_Zollection), [&] {
    requirePointers(sourceIID, key, before, after);
    framed(procedure(L"Sub Add"), [&] {
      try {
        add(item, sourceIID, key, *before, *after);
      } catch (const std::bad_alloc&) {
        raiseOwn(runtime::kOutOfMemory, kAddSource);
      }
    });
  });
}

void ZollectionObject::add(IDispatch* item, BSTR* sourceIIDArgument, BSTR* keyArgument,
                           const VARIANT& before, const VARIANT& after) {
  const ComPtr<IDispatch> itemHeld(item);
  const Text sourceIID = copyOf(*sourceIIDArgument);
  const Text key = copyOf(*keyArgument);

  // Error 7 for an item that fires no events: deliberate.
  if (!pvIsEventSource(item)) raiseOwn(runtime::kOutOfMemory, kAddSource);
  // While items are being let go, everything goes: a new one has no place.
  if (clearing_) raiseOwn(runtime::kInvalidCall, kAddSource);
  if (!store_.heap() || !store_.grow()) raiseOwn(runtime::kOutOfMemory, kAddSource);

  const Holding held{store_.allocateRecord(), ComPtr(store_.heap())};
  ItemRecord* const record = held.record;
  if (!record) raiseOwn(runtime::kOutOfMemory, kAddSource);
  try {
    const LONG p = insertionPoint(before, after);
    // Foreign code may have used the room up, or cleared the collection, here and below.
    if (!isCurrent(held)) raiseOwn(runtime::kInvalidCall, kAddSource);
    if (!store_.grow()) raiseOwn(runtime::kOutOfMemory, kAddSource);
    const ItemStore::Move gap = store_.openGap(p);

    // Any other value connects, the empty one to the default event interface.
    if (sourceIID.view() != kNoEvents) connect(item, record, sourceIID.get());
    if (!isCurrent(held)) raiseOwn(runtime::kInvalidCall, kAddSource);

    if (!key.view().empty() && index_.pvGetItemByKey(key.get(), record)) {
      raiseOwn(runtime::kDuplicateKey, kAddSource);
    }
    if (!store_.fillGap(gap, record)) raiseOwn(runtime::kOutOfMemory, kAddSource);
    record->item = ComPtr(itemHeld).detach();
  } catch (...) {
    abandon(held);
    throw;
  }
  store_.setIdle(record);
}

// The zero-based place where the new item goes: the item becomes item p + 1. Error 5.
LONG ZollectionObject::insertionPoint(const VARIANT& before, const VARIANT& after) {
  Variant argument, holder;
  copyDereferenced(argument, before);
  const bool isBefore = !isMissing(argument.get());
  if (!isBefore) copyDereferenced(argument, after);
  if (isMissing(argument.get())) return store_.count();
  const VARIANT* place;
  checkPlatform(readValue(argument.get(), holder, place));

  LONG p;
  bool valid;
  if (isNumeric(*place)) {
    // After := Count is refused, and After := 0 puts the item first: deliberate.
    p = isBefore ? lessOne(*place) : toLong(*place);
    valid = p >= 0 && p < store_.count();
  } else {
    constexpr LONG kNotLookedUp = 0;  // what the frame of a failed search gives
    const LONG position = indexFromKey(toText(*place).get());
    if (position == kNotLookedUp) raiseOwn(runtime::kOutOfMemory, kAddSource);
    p = isBefore ? position - 1 : position;
    valid = p >= 0 && p <= store_.count();
  }
  if (!valid) raiseOwn(runtime::kInvalidCall, kAddSource);
  return p;
}

// Connects the item's events, asking the client again and again while it answers with another
// interface. The answer is only a signal: every try is for the interface that Add was given.
void ZollectionObject::connect(IDispatch* item, ItemRecord* record, BSTR sourceIID) {
  for (;;) {
    const LONG result = pvAdvise(item, record, sourceIID, this);
    if (result == 0) return;
    Text answer(viewOf(sourceIID));
    raiseConnectionFailed(item, answer, result);
    if (sameTextIgnoringCase(answer.get(), sourceIID)) {
      raiseOwn(result, kRuntimeSource, connectionFailure(result));
    }
    if (answer.view() == kNoEvents) return;
  }
}

// Undoes what an unfinished Add holds. The source may keep the sink; it hears nothing any more.
void ZollectionObject::abandon(const Holding& held) noexcept {
  silenceEventSink(held.record->sink);
  const auto sink = ComPtr<IUnknown>::attach(std::exchange(held.record->sink, nullptr));
  if (!isCurrent(held)) return;
  try {
    if (held.record->key) removeKey(held.record);
  } catch (...) {
    // Reported by its frame.
  }
  store_.freeRecord(held.record);
}

}  // namespace zsupport
