// Zollection: how items enter.
//
// The order of the steps is part of the behaviour. The array is moved before the item is connected
// and before its key is entered, and the move is not undone when one of these fails; a duplicate
// key does not withdraw the connection made just before.
#include <windows.h>
#include <oleauto.h>

#include <new>
#include <optional>
#include <utility>

#include "automation/boundary.h"
#include "automation/foreign_unwind.h"
#include "automation/variant.h"
#include "collection/zollection.h"
#include "events/connection.h"
#include "events/mdlWECollectionSink.h"
#include "events/procedure.h"
#include "events/source_discovery.h"

namespace zsupport {
namespace {

constexpr wchar_t kAddSource[] = L"Zollection.Add";

std::wstring connectionFailure(LONG reason, std::wstring_view sourceIID) {
  switch (reason) {
    case wecErrSourceNotDispinterface:
      return sourceIID.empty() ? L"Object default source interface is not supported, only "
                                 L"dispinterfaces are supported."
                               : L"Source interface is not supported, only dispinterfaces and "
                                 L"dual interfaces are supported.";
    case wecErrSourceInterfaceNotFound:
      return L"Object support connection points but no connection point was found.";
    case wecErrCannotCreateSinkObject:
      return L"Cannot create the sink object.";
    default:
      return {};
  }
}

// A caller's text, safe from what the caller's handlers do to the variable meanwhile.
void copyTo(TextCopy& copy, BSTR text) {
  if (FAILED(copy.assign(text))) throw std::bad_alloc();
}

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

// What one Add holds while foreign code may run.
struct ZollectionObject::Addition {
  Addition(ZollectionObject& owner, IDispatch* added)
      : collection(owner), alive(&owner), item(added) {}

  ZollectionObject& collection;
  ComPtr<_Zollection> alive;
  ComPtr<IDispatch> item;
  TextCopy key;
  std::optional<HeldRecord> record;
  bool hasGap = false;

  // Undoes what is unfinished. The source may keep the sink; it hears nothing any more.
  void abandon() noexcept;
  void giveBack() noexcept {
    abandon();
    key.reset();
    item.reset();
    alive.reset();
  }
};

HRESULT ZollectionObject::Add(IDispatch* item, BSTR* sourceIID, BSTR* key, VARIANT* before,
                              VARIANT* after) {
  Addition addition(*this, item);
  // Being out of memory is always raised: where it was recorded only, the item would be lost in
  // silence.
  const auto body = [&] {
    try {
      copyTo(addition.key, *key);
      add(addition, sourceIID, *before, *after);
    } catch (const std::bad_alloc&) {
      addition.abandon();
      raiseOwn(runtime::kOutOfMemory, kAddSource);
    } catch (const Error& error) {
      addition.abandon();
      if (error.number == runtime::kOutOfMemory) raiseOwn(error.number, kAddSource);
      throw;
    }
  };
  const auto call = [&] {
    return kZollection.run(L"Sub Add", {sourceIID, key, before, after}, body);
  };
  return passingExceptions(call, [&] { addition.giveBack(); });
}

void ZollectionObject::add(Addition& addition, BSTR* sourceIID, const VARIANT& before,
                           const VARIANT& after) {
  // Error 7 for an item that fires no events: deliberate.
  if (!pvIsEventSource(addition.item.get())) raiseOwn(runtime::kOutOfMemory, kAddSource);
  // While items are being let go, everything goes: a new one has no place.
  if (clearing_) raiseOwn(runtime::kInvalidCall, kAddSource);
  if (!store_.heap()) Class_Initialize();
  if (!store_.heap() || !store_.grow()) raiseOwn(runtime::kOutOfMemory, kAddSource);

  HeldRecord& record = addition.record.emplace(store_, store_.allocateRecord());
  if (!record) raiseOwn(runtime::kOutOfMemory, kAddSource);
  const LONG p = insertionPoint(before, after);
  // Foreign code may have used the room up, or cleared the collection, here and below.
  if (!record.isCurrent()) raiseOwn(runtime::kInvalidCall, kAddSource);
  if (!store_.grow()) raiseOwn(runtime::kOutOfMemory, kAddSource);
  store_.openGap(p);
  addition.hasGap = true;

  // Any other value connects, the empty one to the default event interface.
  if (viewOf(*sourceIID) != kNoEvents) connect(addition.item.get(), record.get(), sourceIID);
  if (!record.isCurrent()) raiseOwn(runtime::kInvalidCall, kAddSource);

  if (!viewOf(addition.key.get()).empty()) enterKey(addition.key.get(), record.get());
  if (!store_.fillGap(p, record.get())) raiseOwn(runtime::kOutOfMemory, kAddSource);
  record->item = addition.item.detach();
  record.letGo();
}

void ZollectionObject::enterKey(BSTR key, ItemRecord* record) {
  if (index_.pvGetItemByKey(key, store_.nodeOf(record)))
    raiseOwn(runtime::kDuplicateKey, kAddSource);
  // A failure may have been recorded only.
  if (!record->key) raiseOwn(runtime::kOutOfMemory, kAddSource);
}

// The zero-based place where the new item goes: the item becomes item p + 1. Error 5.
LONG ZollectionObject::insertionPoint(const VARIANT& before, const VARIANT& after) {
  if (isMissing(before) && isMissing(after)) return store_.count();
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
// interface. The answer is only a signal: every try is for the interface that the caller's variable
// names.
void ZollectionObject::connect(IDispatch* item, ItemRecord* record, BSTR* sourceIID) {
  for (;;) {
    TextCopy named;
    copyTo(named, *sourceIID);
    const std::optional<LONG> result = pvAdvise(item, record, named.get(), this, sources_);
    if (!result) raiseOwn(runtime::kOutOfMemory, kAddSource);
    if (*result == 0) return;
    Text answer(viewOf(named.get()));
    passingExceptions([&] { raiseConnectionFailed(item, answer, *result); },
                      [&] {
                        answer = {};
                        named.reset();
                      });
    if (sameTextIgnoringCase(answer.get(), *sourceIID)) {
      raiseOwn(*result, kRuntimeSource, connectionFailure(*result, viewOf(named.get())));
    }
    if (answer.view() == kNoEvents) return;
  }
}

void ZollectionObject::Addition::abandon() noexcept {
  if (!record || !*record) return;
  silenceEventSink((*record)->sink);
  auto sink = ComPtr<IUnknown>::attach(std::exchange((*record)->sink, nullptr));
  if (record->isCurrent()) {
    if (hasGap) collection.store_.leaveGap();
    collection.removeKey(record->get());
  }
  record->free();
  sink.reset();
}

}  // namespace zsupport
