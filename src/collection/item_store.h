// The items of a collection: their records, and the array that gives them positions.
//
// The array lists record addresses at positions 1 to Count. A record that is alive is normally
// listed once, but two kinds of exception exist, and this class keeps account of them so that no
// listing ever names freed memory and no record is lost:
//  - An insertion moves the array before it connects the item and does not move it back when it
//    fails. The record at the gap is then listed twice, and the last one lies beyond Count.
//  - A record is alive but not listed while its item is being added, while it is being removed,
//    and when it was pushed beyond Count.
// Adding and removing call foreign code, which may call the collection again. A record that
// somebody up the stack is working on is busy: others may take its listing or its key, but its
// references and its memory stay with whoever holds it. The heap is shared with whoever holds a
// busy record, so its memory outlives even a Clear.
#pragma once

#include <windows.h>

#include <vector>

#include "collection/address_array.h"
#include "collection/private_heap.h"
#include "events/item_record.h"

namespace zsupport {

// The array of record addresses. Readers outside the collection keep a pointer to it, which becomes
// null when the array goes.
class ItemArray : public AddressArray<ItemRecord> {
 public:
  ItemArray() = default;
  ItemArray(const ItemArray&) = delete;
  ItemArray& operator=(const ItemArray&) = delete;
  ~ItemArray() {
    for (ItemArray** const reader : readers_) *reader = nullptr;
  }
  void addReader(ItemArray** reader) {
    readers_.push_back(reader);
    *reader = this;
  }
  void removeReader(ItemArray** reader) { std::erase(readers_, reader); }

 private:
  std::vector<ItemArray**> readers_;
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
  LONG increment = 0;

  // Error 9 outside 1 to Count.
  ItemRecord* at(LONG position) const { return items_[position]; }
  // The first position that lists the record; 0 when none does.
  LONG positionOf(const ItemRecord* record) const;
  // Whether the address is that of a record which is alive without being listed.
  bool isUnlisted(const ItemRecord* record) const;

  // Makes room for one more address. False when there is no memory; error 6.
  bool grow();
  // Gives back a step of the buffer when enough of it is unused; error 6.
  void shrink();

  // A zeroed record, busy and unlisted; null when there is no memory.
  ItemRecord* allocateRecord();
  void freeRecord(ItemRecord* record);

  bool isBusy(const ItemRecord* record) const;
  void setBusy(ItemRecord* record);
  void setIdle(ItemRecord* record);

  // A move of the array that is not finished yet, and the state of the list at that moment.
  struct Move {
    LONG p;              // zero-based, where it began
    ItemRecord* twice;   // the record that it has listed once more; null for none
    ItemRecord* pushed;  // the record that a gap has pushed beyond Count; null for none
    ULONG changes;
  };

  // Moves positions p + 1 to Count one place up, for an item that is to become item p + 1.
  Move openGap(LONG p);
  // Puts the record into the gap. When the list has changed since, the record goes into a new gap,
  // and what the old one had pushed out comes back behind the last; false when there is no memory.
  bool fillGap(Move gap, ItemRecord* record);

  // Takes a listing out by moving the positions behind it down; Count follows with closeUp.
  Move moveDown(LONG position);
  void closeUp(const Move& move);

  // Whether the record is listed more than once.
  bool hasFurtherListing(const ItemRecord* record) const;

  // Moves with every change of the list.
  ULONG changes() const { return changes_; }

  // Takes one listing out; the positions behind it move down. True when it was the record's last:
  // the record is then unlisted.
  bool unlist(LONG position);

  // Takes out all listings of a record; hint is the position where one is likely to be.
  void unlistAll(const ItemRecord* record, LONG hint);

  // Some record that is alive, unlisted and not busy, as one pushed beyond Count is; or null.
  ItemRecord* findStray() const;

 private:
  void addListing(ItemRecord* record);
  bool dropListing(ItemRecord* record);
  void reserveAccounts(size_t changes);
  void dropFurtherListing(ItemRecord* record);

  ItemArray items_;
  LONG capacity_ = 0;   // nominal size of the buffer in bytes; stays enlarged after a failed growth
  LONG allocated_ = 0;  // its real size
  LONG count_ = 0;
  ComPtr<PrivateHeap> heap_;

  std::vector<ItemRecord*> unlisted_;
  std::vector<ItemRecord*> furtherListings_;  // one entry per listing beyond a record's first
  std::vector<ItemRecord*> busy_;
  ULONG changes_ = 0;
};

}  // namespace zsupport
