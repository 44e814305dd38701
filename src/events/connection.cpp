#include "events/connection.h"

#include <ocidl.h>
#include <olectl.h>

#include <new>
#include <utility>

#include "automation/com_ptr.h"
#include "automation/error.h"
#include "automation/foreign_unwind.h"
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
  ComPtr<ITypeInfo> dual;  // the interface, if it is a dual one
};

HRESULT findPoint(IConnectionPointContainer* container, REFIID iid,
                  ComPtr<IConnectionPoint>& point) {
  if (!container) return E_NOINTERFACE;
  HRESULT result = E_FAIL;
  point = obtain<IConnectionPoint>([&](IConnectionPoint** out) {
    result = container->FindConnectionPoint(iid, out);
    return result;
  });
  return SUCCEEDED(result) && !point ? CONNECT_E_NOCONNECTION : result;
}

// Whether a sink can serve the interface that was found.
bool isServed(IDispatch* item, Discovery& found) {
  SourceInterface source = describeSource(item, found.iid);
  if (source.kind == SourceKind::kDual) found.dual = std::move(source.description);
  return source.kind != SourceKind::kCustom;
}

Discovery findNamed(IDispatch* item, BSTR sourceIID) {
  Discovery found;
  const auto container = ComPtr<IConnectionPointContainer>::from(item);
  if (FAILED(IIDFromString(sourceIID, &found.iid)) ||
      FAILED(findPoint(container.get(), found.iid, found.point))) {
    found.result = wecErrSourceInterfaceNotFound;
  } else if (!isServed(item, found)) {
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
  if (found.point &&
      (FAILED(found.point->GetConnectionInterface(&found.iid)) || !isServed(item, found))) {
    found.point.reset();
  }
  return found;
}

Discovery findDefault(IDispatch* item, SourceMemory& memory) {
  Discovery found;
  const std::optional<LONG> code = pvGetDefaultSourceInterface(item, memory, found.iid);
  if (!code) throw std::bad_alloc();
  if (*code == _wecErrNoTypelib || *code == _wecErrNoDefaultSource) return findFirst(item);
  found.result = *code;
  if (found.result == 0) {
    findPoint(ComPtr<IConnectionPointContainer>::from(item).get(), found.iid, found.point);
  }
  return found;
}

}  // namespace

std::optional<LONG> pvAdvise(IDispatch* item, ItemRecord* record, BSTR sourceIID,
                             _Zollection* collection, SourceMemory& memory) {
  return framed(procedure(L"Function pvAdvise"), [&]() -> std::optional<LONG> {
    Discovery found =
        viewOf(sourceIID).empty() ? findDefault(item, memory) : findNamed(item, sourceIID);
    if (found.result != 0 || !found.point) return found.result;

    ComPtr<IUnknown> sink;
    try {
      sink = CreateEventSinkObj(found.iid, record, collection, found.dual.get());
    } catch (const Error&) {
      // Reported where it was raised; here it is a result.
    }
    if (!sink) return wecErrCannotCreateSinkObject;
    record->sourceIID = found.iid;
    record->sink = ComPtr(sink).detach();

    const auto advise = [&] {
      DWORD cookie = 0;
      if (SUCCEEDED(found.point->Advise(sink.get(), &cookie))) {
        record->cookie = static_cast<LONG>(cookie);
      }
    };
    passingExceptions(advise, [&] {
      sink.reset();
      found = {};
    });
    return 0;
  });
}

void pvUnAdvise(ItemRecord* record) {
  framed(procedure(L"Sub pvUnAdvise"), [&] {
    if (record->cookie == 0) return;
    const auto cookie = static_cast<DWORD>(record->cookie);
    const IID iid = record->sourceIID;
    // The connection point may release the item while it lets go of the sink.
    ComPtr<IDispatch> item(record->item);
    auto container = ComPtr<IConnectionPointContainer>::from(item.get());
    ComPtr<IConnectionPoint> point;
    const auto unadvise = [&] {
      const HRESULT found = findPoint(container.get(), iid, point);
      return FAILED(found) ? found : point->Unadvise(cookie);
    };
    checkPlatform(passingExceptions(unadvise, [&] {
      point.reset();
      container.reset();
      item.reset();
    }));
  });
}

}  // namespace zsupport
