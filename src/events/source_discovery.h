// Finding out which event interface of an object to listen to.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include <optional>

#include "automation/com_ptr.h"
#include "events/source_memory.h"

namespace zsupport {

// Whether the item has connection points at all.
bool pvIsEventSource(IDispatch* item);

// Fills iid with the item's default event interface. 0, wecErrSourceNotDispinterface, or one of
// the private results _wecErrNoTypelib and _wecErrNoDefaultSource. 0 with iid untouched when the
// item's type library does not list its class under the item's class name: deliberate. No result
// when the search failed, for want of memory or otherwise, and that has only been recorded.
std::optional<LONG> pvGetDefaultSourceInterface(IDispatch* item, SourceMemory& memory, IID& iid);

// How a source calls the sinks of an interface, as far as the item's type library tells: through
// Invoke, through either that or a vtable, or through a vtable alone.
enum class SourceKind { kDispatch, kDual, kCustom };
struct SourceInterface {
  SourceKind kind = SourceKind::kDispatch;
  ComPtr<ITypeInfo> description;  // empty when the library has none
};
SourceInterface describeSource(IDispatch* item, REFIID iid);

}  // namespace zsupport
