// The items of a collection: their records, and the array that gives them positions.
//
// What is known of a record stands in front of it, in the same block: how many positions list it,
// and whether somebody up the stack is working on it (it is held). Normally a record is listed
// once. A failed insertion leaves one listed twice and another one, pushed beyond Count, not at
// all; both live on. The unlisted are chained, so that they can be found.
//
// Insertions and removals move the array, then call foreign code, and only then does Count follow.
// Until then the move is under way: a record shows at two positions but counts as listed once.
// One move is under way at most, since whoever changes the list settles it first: an insertion's
// gap closes again, a removal's Count follows. So foreign code always changes a list that is
// whole, and whoever moved the array finds, when foreign code returns, his move or none.
//
// Only open, grow, fillGap and allocateRecord need memory. positionOfAddress remembers what it
// found where there is room.
#pragma once

#include <windows.h>

#include "automation/private_heap.h"
#include "collection/address_array.h"
#include "collection/key_node.h"
#include "collection/seen_records.h"
#include "events/item_record.h"

namespace zsupport {

class ItemArray;

// Somebody outside the collection who reads the array; his pointer to it becomes null when it goes.
struct ArrayReader {
  ArrayReader* next;
  ItemArray** array;
};

// The array of record addresses.
class ItemArray : public AddressArray<ItemRecord> {
 public:
  ItemArray() = default;
  ItemArray(const ItemArray&) = delete;
  ItemArray& operator=(const ItemArray&) = delete;
  ~ItemArray();

  void addReader(ArrayReader& reader);
  void removeReader(ArrayReader& reader);

 private:
  ArrayReader* readers_ = nullptr;
};

class ItemStore {
 public:
  // Opens an empty store in a new heap. False, and closed, when there is no memory.
  bool open(LONG increment);
  // Forgets all records; the heap goes with its last holder.
  void close();

  LONG count() const { return count_; }
  PrivateHeap* heap() const { return heap_.get(); }

  // For enumerators, which read the array as it is at each step.
  ItemArray& items() { return items_; }

  // Growth and shrink step of the array's buffer, in bytes.
  LONG increment() const { return increment_; }
  void increment(LONG step);

  // Error 9 outside 1 to Count.
  ItemRecord* at(LONG position) const { return items_[position]; }
  // The first position at which the record shows; 0 when none does.
  LONG positionOf(const ItemRecord* record) const;
  // The same for an address that may be anybody's: it is not looked into before the array is found
  // to list it.
  LONG positionOfAddress(const ItemRecord* address);
  // Whether the address is that of a record which is alive without showing at any position.
  bool isUnlisted(const ItemRecord* record) const;

  // Makes room for one more address. False when there is no memory; error 6.
  bool grow();
  // Gives back a step of the buffer when enough of it is unused.
  void shrink();

  // A zeroed record, unlisted; null when there is no memory.
  ItemRecord* allocateRecord();
  // The node with which the record's key is entered in an index.
  static KeyNode* nodeOf(const ItemRecord* record) { return &blockOf(record).node; }
  // Takes out what still lists the record, and frees it.
  void freeRecord(ItemRecord* record);

  bool isHeld(const ItemRecord* record) const { return blockOf(record).isHeld; }
  void hold(ItemRecord* record) { blockOf(record).isHeld = 1; }
  void letGo(ItemRecord* record) { blockOf(record).isHeld = 0; }

  // Moves positions p + 1 to Count one place up, for an item that is to become item p + 1, where p
  // is a place in the list as it shows.
  void openGap(LONG p);
  // Puts the record into the gap, or, when that has been closed since, into a new one at p or at
  // the end. False when there is no memory for the new one.
  bool fillGap(LONG p, ItemRecord* record);
  // The insertion that opened a gap has failed. The gap, if it is still open, stays as it is for
  // good: the array is not moved back.
  void leaveGap();

  // Takes the listing that shows at a position out by moving the positions behind it down; Count
  // follows with settle.
  void moveDown(LONG position);
  // Ends the move that is under way, if one is: a gap closes, Count follows a removal.
  void settle();

  // Takes the listing that shows at a position out altogether.
  void unlist(LONG position);

  // Whether the record is listed more than once for good.
  bool hasFurtherListing(const ItemRecord* record) const { return blockOf(record).listings > 1; }
  bool isListed(const ItemRecord* record) const { return blockOf(record).listings > 0; }

  // Moves with every change of the list.
  ULONG changes() const { return changes_; }

  // Some record that is alive, unlisted and not held, as one pushed beyond Count is; or null.
  ItemRecord* findStray() const;

 private:
  struct RecordBlock {
    union {
      LONGLONG order;  // of the listed: grows along the array, so that halving finds a position
      struct {         // of the unlisted: their chain
        ItemRecord* previous;
        ItemRecord* next;
      } chain;
    };
    ULONG listings : 31;
    ULONG isHeld : 1;
    ItemRecord record;
    KeyNode node;
  };
  static_assert(sizeof(RecordBlock) == 56);
  struct Move {
    enum { kNone, kGap, kRemoval } kind;
    LONG p;              // zero-based, where it began
    ItemRecord* pushed;  // the record that a gap has pushed beyond Count; null for none
  };

  static RecordBlock& blockOf(const ItemRecord* record);
  // Settles, and tells where the record is now that showed at a position; 0 when it has gone.
  LONG settle(LONG position);
  void putInOrder(LONG p);
  void orderAll();
  void addListing(ItemRecord* record);
  void dropListing(ItemRecord* record);
  void chain(ItemRecord* record);
  void unchain(ItemRecord* record);

  ItemArray items_;
  LONG increment_ = 0;
  LONG capacity_ = 0;   // nominal size of the buffer in bytes; stays enlarged after a failed growth
  LONG allocated_ = 0;  // its real size
  LONG count_ = 0;
  ComPtr<PrivateHeap> heap_;

  SeenRecords seen_;
  Move move_{};
  ItemRecord* unlisted_ = nullptr;
  LONG doubles_ = 0;  // listings beyond a record's first
  bool isOrdered_ = true;
  ULONG changes_ = 0;
};

}  // namespace zsupport
