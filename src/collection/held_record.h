// Somebody's work on a record while foreign code may run.
#pragma once

#include "collection/item_store.h"

namespace zsupport {

// Until it lets go, others may take the record's listing and its key, but its references and its
// memory stay with the holder. Its heap outlives even a Clear, which leaves the holder with a
// record that is no longer the collection's.
class HeldRecord {
 public:
  HeldRecord(ItemStore& store, ItemRecord* record)
      : store_(store), record_(record), heap_(store.heap()) {
    if (record_) store_.hold(record_);
  }
  HeldRecord(const HeldRecord&) = delete;
  HeldRecord& operator=(const HeldRecord&) = delete;
  ~HeldRecord() { letGo(); }

  ItemRecord* get() const { return record_; }
  ItemRecord* operator->() const { return record_; }
  explicit operator bool() const { return record_; }

  // Whether the record is still the collection's.
  bool isCurrent() const { return heap_ && heap_.get() == store_.heap(); }

  // The record stays in the collection.
  void letGo() {
    if (record_ && isCurrent()) store_.letGo(record_);
    record_ = nullptr;
    heap_.reset();
  }
  // The record goes, with what still lists it.
  void free() {
    if (record_ && isCurrent()) store_.freeRecord(record_);
    record_ = nullptr;
    heap_.reset();
  }

 private:
  ItemStore& store_;
  ItemRecord* record_;
  ComPtr<PrivateHeap> heap_;
};

}  // namespace zsupport
