// mdlWECollectionSink: the event sink, a hand-built dispatch object that stands for one item.
//
// A sink is two blocks of the global allocator: the object, and a table of entry points of its
// own. It is not a C++ class because the layout is the contract (event_sink.h).
#pragma once

#include <windows.h>
#include <oaidl.h>

#include "ZSupport.h"
#include "automation/com_ptr.h"
#include "events/item_record.h"

namespace zsupport {

// A sink for events of the interface iid that the item of the record fires. The collection is not
// referenced: it withdraws the sink before it goes. Reference count 1 is the caller's. On failure
// the error is reported; where the thread does not raise errors, the result is empty. For a dual
// interface, its description: then the source may call the sink's vtable as well as its Invoke.
ComPtr<IUnknown> CreateEventSinkObj(REFIID iid, const ItemRecord* record, _Zollection* collection,
                                    ITypeInfo* dual);

// From here on the sink drops what it receives. For the moment when the record goes, as sources
// may keep a sink, and fire, for longer than they should.
void silenceEventSink(IUnknown* sink);

// The collection behind an event client that is a sink of this library's and still has its record;
// null for any other client.
_Zollection* collectionBehind(IDispatch* client);

}  // namespace zsupport
