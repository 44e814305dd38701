// Zollection: from an item's event to the collection's own.
#include <windows.h>
#include <oleauto.h>

#include <utility>

#include "automation/foreign_unwind.h"
#include "automation/stack_room.h"
#include "automation/text.h"
#include "collection/zollection.h"
#include "events/event_arguments.h"
#include "events/event_name.h"
#include "events/mdlWECollectionSink.h"
#include "events/procedure.h"

namespace zsupport {
namespace {

constexpr DISPID kEventRaised = 1;
constexpr DISPID kConnectionFailed = 2;

EventName eventName(IDispatch* source, REFIID sourceIID, DISPID dispid,
                    SourceMemory& memory) noexcept {
  try {
    return pvGetEventName(source, sourceIID, dispid, memory);
  } catch (...) {
    return {};  // the event is raised without its name
  }
}

}  // namespace

// What is held while the clients hear one event.
struct ZollectionObject::Firing {
  ComPtr<_Zollection> alive;  // a handler may drop the client's last reference
  EventRoute route;
  ComPtr<IDispatch> source;
  EventArguments arguments;
  EventName name;

  void giveBack() noexcept {
    arguments.giveBack();
    name = {};
    source.reset();
    alive.reset();
  }
};

// Answers 0 always: sinks are the only callers, and they pass nothing on.
HRESULT ZollectionObject::RaiseTheEvent(LONG lPtrItem, LONG dispid, LONG lParams) {
  Firing firing = {
      ComPtr<_Zollection>(this), {this, std::exchange(arriving_, nullptr)}, {}, {}, {}};
  if (!hasStackRoom()) {
    atEntryPoint(procedure(L"Sub RaiseTheEvent"), S_OK,
                 []() -> HRESULT { throw makeError(runtime::kOutOfStackSpace); });
    return S_OK;
  }
  passingExceptions(
      [&] {
        try {
          raiseEvent(fromPtrItem(lPtrItem), dispid, reinterpret_cast<DISPPARAMS*>(lParams), firing);
        } catch (...) {
        }
      },
      [&] { firing.giveBack(); });
  return S_OK;
}

void ZollectionObject::raiseEvent(const ItemRecord* record, DISPID dispid, DISPPARAMS* fired,
                                  Firing& firing) {
  const LONG position = pvIndexFromPtr(record);
  // Anyone may call RaiseTheEvent with any number: only records of ours are looked into.
  if (position == -1 && !store_.isUnlisted(record)) return;
  firing.source = ComPtr<IDispatch>(record->item);
  const IID sourceIID = record->sourceIID;

  firing.arguments.take(fired);
  if (!useDispid_) firing.name = eventName(firing.source.get(), sourceIID, dispid, sources_);

  VARIANTARG parameters;
  V_VT(&parameters) = VT_BYREF | VT_ARRAY | VT_VARIANT;
  V_ARRAYREF(&parameters) = firing.arguments.array();
  const VARIANTARG lastFirst[] = {
      parameters,
      useDispid_ ? valueOf(dispid) : valueOf(firing.name.get()),
      valueOf(firing.source.get()),
      valueOf(position),
  };
  const auto admits = [](void* route, IDispatch* client) {
    return mayReach(*static_cast<const EventRoute*>(route), client);
  };
  events_.fire(kEventRaised, lastFirst, admits, &firing.route);
  firing.arguments.writeBack();
}

// An event does not come round to a collection again through collections alone: one that contains
// itself, at whatever remove, would raise its own events for ever. A collection that is reached
// straight from this one learns by which way.
bool ZollectionObject::mayReach(const EventRoute& route, IDispatch* client) {
  _Zollection* const target = collectionBehind(client);
  if (!target) return true;
  for (const EventRoute* step = &route; step; step = step->from) {
    if (step->collection == target) return false;
  }
  static_cast<ZollectionObject*>(target)->arriving_ = &route;
  return true;
}

void ZollectionObject::raiseConnectionFailed(IDispatch* source, Text& sourceIID,
                                             LONG reason) noexcept {
  VARIANTARG sourceIIDArgument;
  V_VT(&sourceIIDArgument) = VT_BYREF | VT_BSTR;
  V_BSTRREF(&sourceIIDArgument) = sourceIID.inout();
  const VARIANTARG lastFirst[] = {valueOf(reason), sourceIIDArgument, valueOf(source)};
  const auto admitsAll = [](void*, IDispatch*) { return true; };
  events_.fire(kConnectionFailed, lastFirst, admitsAll, nullptr);
}

LONG ZollectionObject::pvIndexFromPtr(const ItemRecord* record) {
  return framed(procedure(L"Function pvIndexFromPtr"), [&]() -> LONG {
    const LONG position = store_.positionOfAddress(record);
    return position == 0 ? -1 : position;
  });
}

}  // namespace zsupport
