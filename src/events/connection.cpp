#include "events/connection.h"

#include <ocidl.h>

#include "automation/com_ptr.h"
#include "automation/error.h"
#include "automation/text.h"
#include "events/mdlWECollectionSink.h"
#include "events/source_discovery.h"
#include "frame/mdlErrorHandling.h"

namespace zsupport {
namespace {

constexpr wchar_t kClass[] = L"Zollection";

// Where the search for a connection point ended. Without a point, the result 0 means that the item
// goes in unconnected.
struct Discovery {
  LONG result = 0;
  IID iid = IID_NULL;
  ComPtr<IConnectionPoint> point;
};

ComPtr<IConnectionPoint> findPoint(IConnectionPointContainer* container, REFIID iid) {
  return obtain<IConnectionPoint>(
      [&](IConnectionPoint** out) { return container->FindConnectionPoint(iid, out); });
}

Discovery findNamed(IConnectionPointContainer* container, BSTR sourceIID) {
  Discovery found;
  if (SUCCEEDED(IIDFromString(sourceIID, &found.iid))) {
    found.point = findPoint(container, found.iid);
  }
  if (!found.point) found.result = wecErrSourceInterfaceNotFound;
  return found;
}

// For an item that tells nothing about itself: the first connection point that it enumerates.
Discovery findFirst(IConnectionPointContainer* container) {
  Discovery found;
  const auto points = obtain<IEnumConnectionPoints>(
      [&](IEnumConnectionPoints** out) { return container->EnumConnectionPoints(out); });
  if (!points) {
    found.result = wecErrSourceInterfaceNotFound;
    return found;
  }
  ULONG fetched = 0;
  found.point = obtain<IConnectionPoint>(
      [&](IConnectionPoint** out) { return points->Next(1, out, &fetched); });
  if (found.point && FAILED(found.point->GetConnectionInterface(&found.iid))) found.point.reset();
  return found;
}

Discovery findDefault(IDispatch* item, IConnectionPointContainer* container) {
  Discovery found;
  const LONG code = pvGetDefaultSourceInterface(item, found.iid);
  if (code == _wecErrNoTypelib || code == _wecErrNoDefaultSource) return findFirst(container);
  found.result = code;
  if (code == 0) found.point = findPoint(container, found.iid);
  return found;
}

}  // namespace

LONG pvAdvise(IDispatch* item, ItemRecord* record, BSTR sourceIID, _Zollection* collection) {
  return framed({kClass, L"Function pvAdvise"}, [&]() -> LONG {
    const auto container = ComPtr<IConnectionPointContainer>::from(item);
    if (!container) return wecErrSourceInterfaceNotFound;
    const Discovery found = viewOf(sourceIID).empty() ? findDefault(item, container.get())
                                                      : findNamed(container.get(), sourceIID);
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
  framed({kClass, L"Sub pvUnAdvise"}, [&] {
    if (record->cookie == 0) return;
    const auto cookie = static_cast<DWORD>(record->cookie);
    const IID iid = record->sourceIID;
    // The connection point may release the item while it lets go of the sink.
    const ComPtr<IDispatch> item(record->item);
    const auto container = ComPtr<IConnectionPointContainer>::from(item.get());
    if (!container) checkPlatform(E_NOINTERFACE);
    ComPtr<IConnectionPoint> point;
    checkPlatform(container->FindConnectionPoint(iid, point.put()));
    checkPlatform(point->Unadvise(cookie));
  });
}

}  // namespace zsupport
