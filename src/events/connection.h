// Connecting a collection's sink to an item's event interface, and withdrawing it.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include <optional>

#include "ZSupport.h"
#include "events/item_record.h"
#include "events/source_memory.h"

namespace zsupport {

// The interface id that stands for "no events" wherever a source interface is asked for.
inline constexpr wchar_t kNoEvents[] = L"{00000000-0000-0000-0000-000000000000}";

// Connects the item's interface sourceIID, or its default event interface when that is empty, and
// fills the record's sink, cookie and source interface. 0 or a wecErrors value. 0 without a
// connection when a default interface was found but its connection point was not, when there is no
// first connection point to fall back on, and when the source refuses the sink: deliberate.
//
// No result when the attempt failed, for want of memory or otherwise, and that has only been
// recorded.
//
// Calls foreign code: the record's memory must outlive the call, the record itself need not.
std::optional<LONG> pvAdvise(IDispatch* item, ItemRecord* record, BSTR sourceIID,
                             _Zollection* collection, SourceMemory& memory);

// Withdraws the record's connection, if it has one. Calls foreign code, as above.
void pvUnAdvise(ItemRecord* record);

}  // namespace zsupport
