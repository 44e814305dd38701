#include "collection/item_store.h"

#include <algorithm>
#include <cstring>

#include "collection/key_index.h"

namespace zsupport {
namespace {

constexpr LONG kAddress = sizeof(ItemRecord*);

bool contains(const std::vector<ItemRecord*>& list, const ItemRecord* record) {
  return std::find(list.begin(), list.end(), record) != list.end();
}

// Erases one entry; false when there is none.
bool eraseOne(std::vector<ItemRecord*>& list, const ItemRecord* record) {
  const auto found = std::find(list.begin(), list.end(), record);
  if (found == list.end()) return false;
  list.erase(found);
  return true;
}

}  // namespace

bool ItemStore::open(LONG step) {
  close();
  increment = step;
  const SIZE_T initial = static_cast<SIZE_T>(increment) * 2 + KeyIndex::kBuckets * kAddress + 100;
  auto heap = PrivateHeap::create(initial);
  if (!heap) return false;
  void* const buffer = heap->allocate(static_cast<SIZE_T>(increment));
  if (!buffer) return false;
  heap_ = heap;
  items_.open(buffer, 0, 1);
  capacity_ = allocated_ = increment;
  return true;
}

void ItemStore::close() {
  ++changes_;
  count_ = 0;
  items_.close();
  unlisted_.clear();
  furtherListings_.clear();
  busy_.clear();
  capacity_ = allocated_ = 0;
  heap_.reset();
}

LONG ItemStore::positionOf(const ItemRecord* record) const {
  ItemRecord* const* const begin = items_.slots();
  ItemRecord* const* const end = begin + count_;
  const auto found = std::find(begin, end, record);
  return found == end ? 0 : static_cast<LONG>(found - begin) + 1;
}

bool ItemStore::isUnlisted(const ItemRecord* record) const { return contains(unlisted_, record); }

bool ItemStore::grow() {
  const LONG needed = (count_ + 1) * kAddress;
  if (capacity_ < needed) capacity_ = addChecked(capacity_, increment);
  // After a failed growth the nominal size is ahead of the real one: then this tries again.
  if (allocated_ < needed) {
    void* const larger = heap_->reallocate(items_.buffer(), static_cast<SIZE_T>(capacity_));
    if (!larger) return false;
    items_.buffer(larger);
    allocated_ = capacity_;
  }
  return true;
}

void ItemStore::shrink() {
  if (static_cast<double>(capacity_) - 1.5 * increment <= static_cast<double>(count_) * kAddress) {
    return;
  }
  const LONG smaller = subtractChecked(capacity_, increment);
  if (void* const moved = heap_->reallocate(items_.buffer(), static_cast<SIZE_T>(smaller))) {
    items_.buffer(moved);
    allocated_ = smaller;
  }
  capacity_ = smaller;
}

ItemRecord* ItemStore::allocateRecord() {
  busy_.reserve(busy_.size() + 1);
  unlisted_.reserve(unlisted_.size() + 1);
  auto* const record = heap_->allocate<ItemRecord>();
  if (!record) return nullptr;
  busy_.push_back(record);
  unlisted_.push_back(record);
  return record;
}

void ItemStore::freeRecord(ItemRecord* record) {
  ++changes_;  // an open gap may have pushed it
  eraseOne(busy_, record);
  eraseOne(unlisted_, record);
  heap_->free(record);
}

bool ItemStore::isBusy(const ItemRecord* record) const { return contains(busy_, record); }

void ItemStore::setBusy(ItemRecord* record) { busy_.push_back(record); }

void ItemStore::setIdle(ItemRecord* record) { eraseOne(busy_, record); }

bool ItemStore::hasFurtherListing(const ItemRecord* record) const {
  return contains(furtherListings_, record);
}

void ItemStore::addListing(ItemRecord* record) {
  if (!eraseOne(unlisted_, record)) furtherListings_.push_back(record);
}

bool ItemStore::dropListing(ItemRecord* record) {
  if (eraseOne(furtherListings_, record)) return false;
  unlisted_.push_back(record);
  return true;
}

// Afterwards the accounts can be kept without a failure in the middle of a change.
void ItemStore::reserveAccounts(size_t changes) {
  unlisted_.reserve(unlisted_.size() + changes);
  furtherListings_.reserve(furtherListings_.size() + changes);
}

ItemStore::Move ItemStore::openGap(LONG p) {
  p = std::min(p, count_);
  reserveAccounts(1);
  ++changes_;
  if (p == count_) return {p, nullptr, nullptr, changes_};
  ItemRecord** const slots = items_.slots();
  ItemRecord* const last = slots[count_ - 1];
  std::memmove(slots + p + 1, slots + p, static_cast<size_t>(count_ - p) * kAddress);
  addListing(slots[p]);
  dropListing(last);
  return {p, slots[p], last, changes_};
}

bool ItemStore::fillGap(Move gap, ItemRecord* record) {
  if (changes_ != gap.changes) {
    // Foreign code has added or removed items meanwhile. The record that was pushed out comes back
    // behind the last, unless it has left or is leaving.
    if (gap.twice) dropFurtherListing(gap.twice);
    if (gap.pushed && isUnlisted(gap.pushed) && !isBusy(gap.pushed)) {
      if (!grow()) return false;
      reserveAccounts(1);
      items_.resize(++count_);
      items_[count_] = gap.pushed;
      addListing(gap.pushed);
    }
    if (!grow()) return false;
    gap = openGap(gap.p);
  }
  reserveAccounts(2);
  ++changes_;
  ItemRecord** const slots = items_.slots();
  if (gap.p < count_) {
    dropListing(slots[gap.p]);
    addListing(slots[count_]);
  }
  slots[gap.p] = record;
  addListing(record);
  items_.resize(++count_);
  return true;
}

ItemStore::Move ItemStore::moveDown(LONG position) {
  reserveAccounts(2);
  ++changes_;
  ItemRecord** const slots = items_.slots();
  ItemRecord* const record = items_[position];
  ItemRecord* const last = slots[count_ - 1];
  std::memmove(slots + position - 1, slots + position,
               static_cast<size_t>(count_ - position) * kAddress);
  addListing(last);
  dropListing(record);
  return {position - 1, last, nullptr, changes_};
}

void ItemStore::closeUp(const Move& move) {
  if (changes_ == move.changes) {
    reserveAccounts(1);
    ++changes_;
    items_.resize(--count_);
    dropListing(move.twice);
  } else {
    dropFurtherListing(move.twice);
  }
}

// Takes out the last listing of a record that still has another.
void ItemStore::dropFurtherListing(ItemRecord* record) {
  if (!hasFurtherListing(record)) return;
  for (LONG position = count_; position >= 1; --position) {
    if (items_[position] == record) {
      unlist(position);
      return;
    }
  }
}

bool ItemStore::unlist(LONG position) {
  ItemRecord* const record = items_[position];
  closeUp(moveDown(position));
  return isUnlisted(record);
}

void ItemStore::unlistAll(const ItemRecord* record, LONG hint) {
  LONG position = hint <= count_ && items_[hint] == record ? hint : positionOf(record);
  while (position != 0 && !unlist(position)) position = positionOf(record);
}

ItemRecord* ItemStore::findStray() const {
  const auto found = std::find_if(unlisted_.begin(), unlisted_.end(),
                                  [this](const ItemRecord* record) { return !isBusy(record); });
  return found == unlisted_.end() ? nullptr : *found;
}

}  // namespace zsupport
