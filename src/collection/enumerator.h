// The enumerator of a collection: a hand-built IEnumVARIANT over the collection's own array.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include "automation/com_ptr.h"
#include "automation/private_heap.h"
#include "collection/item_store.h"

namespace zsupport {

// A new enumerator from the first item to what is now the last one. It sees the array as it is at
// each step, and ends early when the array has become shorter or is no more.
ComPtr<IEnumVARIANT> CreateIEnumVARIANT(PrivateHeap* heap, ItemArray& records);

}  // namespace zsupport
