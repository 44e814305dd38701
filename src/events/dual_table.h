// The table of a sink whose source may call it through the vtable of a dual interface.
//
// Behind the seven entries of IDispatch it has one for each member of the interface. Members are
// known at run time only, so their entries are ready-made stubs that differ by a number; the common
// entry looks up under that number what is on the stack, makes the event's arguments of it, and
// takes it off the stack again, as callees do in this convention.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include "events/event_sink.h"

namespace zsupport {

// A table with the seven entries of head and those of the dual interface's members, for
// freeDualTable. Null when there is no memory, or when the description tells of members that no
// event can be made of.
EventSinkTable* makeDualTable(ITypeInfo* dispatchFace, const EventSinkTable& head) noexcept;

void freeDualTable(EventSinkTable* table) noexcept;

}  // namespace zsupport
