#include "events/connection.h"

#include <ocidl.h>
#include <olectl.h>

#include "automation/com_ptr.h"
#include "automation/error.h"
#include "automation/text.h"
#include "events/mdlWECollectionSink.h"
#include "events/procedure.h"
#include "events/source_discovery.h"

namespace zsupport {
namespace {

// Where the search for a connection point ended. Without a point, the result 0 means that the item
// goes in unconnected.
struct Discovery {
  LONG result = 0;
  IID iid = IID_NULL;
  ComPtr<IConnectionPoint> point;
};

ComPtr<IConnectionPoint> findPoint(IConnectionPointContainer* container, REFIID iid) {
  if (!container) return {};
  return obtain<IConnectionPoint>(
      [&](IConnectionPoint** out) { return container->FindConnectionPoint(iid, out); });
}

Discovery findNamed(IDispatch* item, BSTR sourceIID) {
  Discovery found;
  const auto container = ComPtr<IConnectionPointContainer>::from(item);
  if (SUCCEEDED(IIDFromString(sourceIID, &found.iid))) {
    found.point = findPoint(container.get(), found.iid);
  }
  if (!found.point) {
    found.result = wecErrSourceInterfaceNotFound;
  } else if (isVtableInterface(item, found.iid)) {
    found.result = wecErrSourceNotDispinterface;
  }
  return found;
}

// For an item that tells nothing about itself: the first connection point that it enumerates.
Discovery findFirst(IDispatch* item) {
  Discovery found;
  const auto container = ComPtr<IConnectionPointContainer>::from(item);
  const auto points = obtain<IEnumConnectionPoints>([&](IEnumConnectionPoints** out) {
    return container ? container->EnumConnectionPoints(out) : E_NOINTERFACE;
  });
  if (!points) {
    found.result = wecErrSourceInterfaceNotFound;
    return found;
  }
  ULONG fetched = 0;
  found.point = obtain<IConnectionPoint>(
      [&](IConnectionPoint** out) { return points->Next(1, out, &fetched); });
  if (found.point && (FAILED(found.point->GetConnectionInterface(&found.iid)) ||
                      isVtableInterface(item, found.iid))) {
    found.point.reset();
  }
  return found;
}

Discovery findDefault(IDispatch* item) {
  Discovery found;
  const LONG code = pvGetDefaultSourceInterface(item, found.iid);
  if (code == _wecErrNoTypelib || code == _wecErrNoDefaultSource) return findFirst(item);
  found.result = code;
  if (code == 0) {
    const auto container = ComPtr<IConnectionPointContainer>::from(item);
    found.point = findPoint(container.get(), found.iid);
  }
  return found;
}

}  // namespace

LONG pvAdvise(IDispatch* item, ItemRecord* record, BSTR sourceIID, _Zollection* collection) {
  return framed(procedure(L"Function pvAdvise"), [&]() -> LONG {
    Discovery found = viewOf(sourceIID).empty() ? findDefault(item) : findNamed(item, sourceIID);
    if (found.result != 0 || !found.point) return found.result;

    ComPtr<IUnknown> sink;
    try {
      sink = CreateEventSinkObj(found.iid, record, collection);
    } catch (const Error&) {
      // Reported where it was raised; here it is a result.
    }
    if (!sink) return wecErrCannotCreateSinkObject;
    record->sourceIID = found.iid;
    record->sink = ComPtr(sink).detach();

    DWORD cookie = 0;
    if (SUCCEEDED(found.point->Advise(sink.get(), &cookie))) {
      record->cookie = static_cast<LONG>(cookie);
    }
    return 0;
  });
}

void pvUnAdvise(ItemRecord* record) {
  framed(procedure(L"Sub pvUnAdvise"), [&] {
    if (record->cookie == 0) return;
    const auto cookie = static_cast<DWORD>(record->cookie);
    const IID iid = record->sourceIID;
    // The connection point may release the item while it lets go of the sink.
    const ComPtr<IDispatch> item(record->item);
    const auto container = ComPtr<IConnectionPointContainer>::from(item.get());
    if (!container) checkPlatform(E_NOINTERFACE);
    const auto point = findPoint(container.get(), iid);
    checkPlatform(point ? point->Unadvise(cookie) : CONNECT_E_NOCONNECTION);
  });
}

}  // namespace zsupport
