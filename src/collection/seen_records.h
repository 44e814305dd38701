// Where records were seen in a collection's array.
//
// An event names its record by address alone, and anybody can name any address: before it is looked
// into, the array must be known to list it. Going through the array each time would make events of
// the items behind dear. So the addresses that were found are remembered with their positions, in a
// table with one place for an address and whoever comes later. A record that is freed is forgotten,
// so an address in the table is always that of a record; the position is a guess, to be checked.
#pragma once

#include <windows.h>

#include "automation/private_heap.h"
#include "events/item_record.h"

namespace zsupport {

class SeenRecords {
 public:
  // Forgets everything; the heap's owner frees it.
  void close() { *this = {}; }

  // The position at which the address was seen last; 0 when it is not known for a record.
  LONG find(const ItemRecord* record) const {
    return slots_ && slotOf(record).record == record ? slotOf(record).position : 0;
  }
  // Of a collection of so many items. Without memory, nothing is remembered.
  void remember(const ItemRecord* record, LONG position, LONG count, PrivateHeap& heap) {
    if (static_cast<ULONG>(count) > size_ && size_ < kMostSlots) makeRoom(count, heap);
    if (slots_) slotOf(record) = {record, position};
  }
  void forget(const ItemRecord* record) {
    if (slots_ && slotOf(record).record == record) slotOf(record) = {};
  }

 private:
  struct Slot {
    const ItemRecord* record;
    LONG position;
  };
  static constexpr ULONG kMostSlots = 1 << 16;

  Slot& slotOf(const ItemRecord* record) const {
    // The upper bits of the product: neighbours in the heap go far apart.
    return slots_[(reinterpret_cast<ULONG>(record) * 0x9E3779B1u) >> shift_];
  }
  void makeRoom(LONG count, PrivateHeap& heap) {
    ULONG size = 64;
    ULONG shift = 32 - 6;
    for (; size < 2 * static_cast<ULONG>(count) && size < kMostSlots; size *= 2) --shift;
    auto* const slots = static_cast<Slot*>(heap.allocate(size * sizeof(Slot)));
    if (!slots) return;
    if (slots_) heap.free(slots_);
    slots_ = slots;
    size_ = size;
    shift_ = shift;
  }

  Slot* slots_ = nullptr;
  ULONG size_ = 0;   // of the table, a power of two
  ULONG shift_ = 0;  // of a product, to get a place
};

}  // namespace zsupport
