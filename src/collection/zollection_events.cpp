// Zollection: from an item's event to the collection's own.
#include <windows.h>
#include <oleauto.h>

#include "automation/text.h"
#include "collection/zollection.h"
#include "events/event_arguments.h"
#include "events/procedure.h"
#include "events/source_discovery.h"

namespace zsupport {
namespace {

constexpr DISPID kEventRaised = 1;
constexpr DISPID kConnectionFailed = 2;

constexpr int kDeepestEvent = 64;

class DepthGuard {
 public:
  explicit DepthGuard(int& depth) : depth_(++depth) {}
  DepthGuard(const DepthGuard&) = delete;
  DepthGuard& operator=(const DepthGuard&) = delete;
  ~DepthGuard() { --depth_; }

 private:
  int& depth_;
};

VARIANTARG longArgument(LONG value) {
  VARIANTARG argument;
  V_VT(&argument) = VT_I4;
  V_I4(&argument) = value;
  return argument;
}

// Borrowed, like the text below: arguments live no longer than their call.
VARIANTARG objectArgument(IDispatch* object) {
  VARIANTARG argument;
  V_VT(&argument) = VT_DISPATCH;
  V_DISPATCH(&argument) = object;
  return argument;
}

VARIANTARG textArgument(BSTR text) {
  VARIANTARG argument;
  V_VT(&argument) = VT_BSTR;
  V_BSTR(&argument) = text;
  return argument;
}

Text eventName(IDispatch* source, REFIID sourceIID, DISPID dispid) noexcept {
  try {
    return Text(pvGetEventName(source, sourceIID, dispid));
  } catch (...) {
    return {};  // the event is raised without its name
  }
}

}  // namespace

// Answers 0 always: sinks are the only callers, and they pass nothing on.
HRESULT ZollectionObject::RaiseTheEvent(LONG lPtrItem, LONG dispid, LONG lParams) {
  const ComPtr<_Zollection> alive(this);  // a handler may drop the client's last reference
  try {
    raiseEvent(fromPtrItem(lPtrItem), dispid, reinterpret_cast<DISPPARAMS*>(lParams));
  } catch (...) {
  }
  return S_OK;
}

void ZollectionObject::raiseEvent(const ItemRecord* record, DISPID dispid, DISPPARAMS* fired) {
  // A collection that is an item of itself, at whatever remove, raises its own events for ever.
  if (eventDepth_ == kDeepestEvent) return;
  const DepthGuard depth(eventDepth_);
  const LONG position = pvIndexFromPtr(record);
  // Anyone may call RaiseTheEvent with any number: only records of ours are looked into.
  if (position == -1 && !store_.isUnlisted(record)) return;
  const ComPtr<IDispatch> source(record->item);
  const IID sourceIID = record->sourceIID;

  EventArguments arguments(fired);
  const Text name = useDispid_ ? Text() : eventName(source.get(), sourceIID, dispid);

  VARIANTARG parameters;
  V_VT(&parameters) = VT_BYREF | VT_ARRAY | VT_VARIANT;
  V_ARRAYREF(&parameters) = arguments.array();
  const VARIANTARG lastFirst[] = {
      parameters,
      useDispid_ ? longArgument(dispid) : textArgument(name.get()),
      objectArgument(source.get()),
      longArgument(position),
  };
  events_.fire(kEventRaised, lastFirst);
  arguments.writeBack();
}

void ZollectionObject::raiseConnectionFailed(IDispatch* source, Text& sourceIID,
                                             LONG reason) noexcept {
  VARIANTARG sourceIIDArgument;
  V_VT(&sourceIIDArgument) = VT_BYREF | VT_BSTR;
  V_BSTRREF(&sourceIIDArgument) = sourceIID.inout();
  const VARIANTARG lastFirst[] = {longArgument(reason), sourceIIDArgument, objectArgument(source)};
  events_.fire(kConnectionFailed, lastFirst);
}

LONG ZollectionObject::pvIndexFromPtr(const ItemRecord* record) const {
  return framed(procedure(L"Function pvIndexFromPtr"), [&]() -> LONG {
    const LONG position = store_.positionOf(record);
    return position == 0 ? -1 : position;
  });
}

}  // namespace zsupport
