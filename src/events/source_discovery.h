// Finding out which event interface of an object to listen to, and what its events are called.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include <string>

#include "automation/com_ptr.h"

namespace zsupport {

// Whether the item has connection points at all.
bool pvIsEventSource(IDispatch* item);

// Fills iid with the item's default event interface. 0, wecErrSourceNotDispinterface, or one of
// the private results _wecErrNoTypelib and _wecErrNoDefaultSource. 0 with iid untouched when the
// item's type library does not list its class under the item's class name: deliberate.
LONG pvGetDefaultSourceInterface(IDispatch* item, IID& iid);

// Whether a source would call the interface through a vtable, which a sink does not have: a dual or
// custom interface by the item's type library, or the platform's property notification.
bool isVtableInterface(IDispatch* item, REFIID iid);

// Name of an event of the item's interface sourceIID; a standard control event's name or the id
// in hexadecimal when type information does not tell.
std::wstring pvGetEventName(IDispatch* item, REFIID sourceIID, DISPID event);

}  // namespace zsupport
