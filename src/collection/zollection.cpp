// Zollection: start, end, plain properties, and its face for late-bound callers.
#include "collection/zollection.h"

#include <algorithm>

#include "_Zollection_members.h"
#include "automation/boundary.h"
#include "events/procedure.h"

namespace zsupport {
namespace {

constexpr LONG kFirstIncrement = 4000;
constexpr LONG kIncrementUnit = 16;
constexpr LONG kLeastIncrement = 4;

constexpr MemberTable kTable(__uuidof(_Zollection), members_of_Zollection::kMembers);

}  // namespace

const MemberTable& ZollectionObject::members() { return kTable; }

HRESULT ZollectionObject::QueryInterface(REFIID id, void** object) {
  if (object && id == __uuidof(_Collection)) {
    *object = static_cast<_Collection*>(&collectionFace_);
    AddRef();
    return S_OK;
  }
  return CoClass::QueryInterface(id, object);
}

HRESULT ZollectionObject::InterfaceSupportsErrorInfo(REFIID id) {
  return id == __uuidof(_Collection) ? S_OK : CoClass::InterfaceSupportsErrorInfo(id);
}

void ZollectionObject::Class_Initialize() {
  framed(procedure(L"Sub Class_Initialize"), [&] {
    // CompareMode and UseDISPID are not touched: they outlive a Clear.
    if (!store_.open(kFirstIncrement) || !index_.open(*store_.heap())) {
      store_.close();
      raiseOwn(runtime::kOutOfMemory, L"Zollection.Initialize");
    }
    sources_.open(store_.heap());
  });
}

void ZollectionObject::onFinalRelease() noexcept {
  try {
    framed(procedure(L"Sub Class_Terminate"), [&] { pvClear(); });
  } catch (...) {
    // Reported; there is no caller left to tell.
  }
  events_.disconnectAll();
}

HRESULT ZollectionObject::put_CompareMode(LONG mode) {
  return kZollection.run(L"Let CompareMode", {}, [&] {
    if (store_.count() != 0) {
      raiseOwn(runtime::kSetNotPermitted, L"Zollection.CompareMode (Let)",
               L"Cannot change CompareMode. The collection contains items.");
    }
    index_.CompareMode(mode);
  });
}

HRESULT ZollectionObject::get_CompareMode(LONG* mode) {
  return atBoundary(__uuidof(_Zollection), {mode}, [&] { *mode = index_.CompareMode(); });
}

HRESULT ZollectionObject::get_Count(LONG* count) {
  return atBoundary(__uuidof(_Zollection), {count}, [&] { *count = store_.count(); });
}

HRESULT ZollectionObject::get_Increment(LONG* increment) {
  return atBoundary(__uuidof(_Zollection), {increment}, [&] { *increment = store_.increment(); });
}

// What is written is not what is read: deliberate.
HRESULT ZollectionObject::put_Increment(LONG increment) {
  store_.increment(std::max(increment / kIncrementUnit, kLeastIncrement));
  return S_OK;
}

HRESULT ZollectionObject::get_UseDISPID(VARIANT_BOOL* useDispid) {
  return atBoundary(__uuidof(_Zollection), {useDispid}, [&] { *useDispid = useDispid_; });
}

HRESULT ZollectionObject::put_UseDISPID(VARIANT_BOOL useDispid) {
  useDispid_ = useDispid;
  return S_OK;
}

HRESULT ZollectionObject::EnumConnectionPoints(IEnumConnectionPoints** points) {
  return events_.enumerate(points);
}

HRESULT ZollectionObject::FindConnectionPoint(REFIID id, IConnectionPoint** point) {
  return events_.findFor(id, point);
}

}  // namespace zsupport
