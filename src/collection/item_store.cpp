#include "collection/item_store.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <utility>

#include "collection/key_index.h"

namespace zsupport {
namespace {

constexpr LONG kAddress = sizeof(ItemRecord*);
constexpr LONGLONG kOrderStep = 1ll << 32;
constexpr LONGLONG kLastOrder = LLONG_MAX - kOrderStep;

// Moves the addresses from one place in the array to another.
void moveAddresses(ItemRecord** to, ItemRecord* const* from, LONG count) {
  std::memmove(to, from, static_cast<size_t>(count) * kAddress);
}

}  // namespace

ItemArray::~ItemArray() {
  for (ArrayReader* reader = readers_; reader; reader = reader->next) *reader->array = nullptr;
}

void ItemArray::addReader(ArrayReader& reader) {
  reader.next = readers_;
  readers_ = &reader;
  *reader.array = this;
}

void ItemArray::removeReader(ArrayReader& reader) {
  ArrayReader** link = &readers_;
  while (*link != &reader) link = &(*link)->next;
  *link = reader.next;
}

ItemStore::RecordBlock& ItemStore::blockOf(const ItemRecord* record) {
  auto* const bytes = reinterpret_cast<std::byte*>(const_cast<ItemRecord*>(record));
  return *reinterpret_cast<RecordBlock*>(bytes - offsetof(RecordBlock, record));
}

bool ItemStore::open(LONG step) {
  close();
  increment_ = step;
  const SIZE_T initial = static_cast<SIZE_T>(step) * 2 + KeyIndex::kBuckets * kAddress + 100;
  auto heap = PrivateHeap::create(initial);
  if (!heap) return false;
  void* const buffer = heap->allocate(static_cast<SIZE_T>(step));
  if (!buffer) return false;
  heap_ = heap;
  items_.open(buffer, 0, 1);
  capacity_ = allocated_ = step;
  return true;
}

void ItemStore::close() {
  ++changes_;
  count_ = 0;
  items_.close();
  seen_.close();
  move_ = {};
  unlisted_ = nullptr;
  doubles_ = 0;
  isOrdered_ = true;
  capacity_ = allocated_ = 0;
  heap_.reset();
}

// After a growth that failed, the nominal size is ahead of the real one; another step begins anew.
void ItemStore::increment(LONG step) {
  increment_ = step;
  capacity_ = std::min(capacity_, allocated_);
}

LONG ItemStore::positionOf(const ItemRecord* record) const {
  if (count_ == 0) return 0;
  ItemRecord* const* const begin = items_.slots();
  ItemRecord* const* const last = begin + count_ - 1;
  const auto isBefore = [](const ItemRecord* listed, LONGLONG order) {
    return blockOf(listed).order < order;
  };
  // The last one apart: during a removal it may be what is being removed, which has no order.
  const auto found = isOrdered_ && isListed(record)
                         ? std::lower_bound(begin, last, blockOf(record).order, isBefore)
                         : std::find(begin, last, record);
  return *found == record ? static_cast<LONG>(found - begin) + 1 : 0;
}

LONG ItemStore::positionOfAddress(const ItemRecord* address) {
  const LONG guess = seen_.find(address);
  const bool isWhole = move_.kind == Move::kNone && isOrdered_;
  if (isWhole && guess != 0 && guess <= count_ && items_[guess] == address) return guess;
  ItemRecord* const* const begin = items_.slots();
  const bool isRecord = guess != 0 || std::find(begin, begin + count_, address) != begin + count_;
  const LONG position = isRecord ? positionOf(address) : 0;
  if (position != 0) seen_.remember(address, position, count_, *heap_.get());
  return position;
}

bool ItemStore::isUnlisted(const ItemRecord* record) const {
  if (record && record == move_.pushed) return true;
  const ItemRecord* unlisted = unlisted_;
  while (unlisted && unlisted != record) unlisted = blockOf(unlisted).chain.next;
  return unlisted;
}

bool ItemStore::grow() {
  const LONG needed = (count_ + 1) * kAddress;
  if (capacity_ < needed) capacity_ = addChecked(capacity_, increment_);
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
  if (static_cast<double>(capacity_) - 1.5 * increment_ <= static_cast<double>(count_) * kAddress) {
    return;
  }
  const LONG smaller = subtractChecked(capacity_, increment_);
  if (void* const moved = heap_->reallocate(items_.buffer(), static_cast<SIZE_T>(smaller))) {
    items_.buffer(moved);
    allocated_ = smaller;
  }
  capacity_ = smaller;
}

ItemRecord* ItemStore::allocateRecord() {
  auto* const block = heap_->allocate<RecordBlock>();
  if (!block) return nullptr;
  block->node.record = &block->record;
  chain(&block->record);
  return &block->record;
}

void ItemStore::freeRecord(ItemRecord* record) {
  settle();
  while (isListed(record)) unlist(positionOf(record));
  unchain(record);
  seen_.forget(record);
  heap_->free(&blockOf(record));
}

void ItemStore::chain(ItemRecord* record) {
  blockOf(record).chain = {nullptr, unlisted_};
  if (unlisted_) blockOf(unlisted_).chain.previous = record;
  unlisted_ = record;
}

void ItemStore::unchain(ItemRecord* record) {
  const auto [previous, next] = blockOf(record).chain;
  if (next) blockOf(next).chain.previous = previous;
  (previous ? blockOf(previous).chain.next : unlisted_) = next;
}

void ItemStore::addListing(ItemRecord* record) {
  if (blockOf(record).listings++ == 0) {
    unchain(record);
  } else {
    ++doubles_;
    isOrdered_ = false;
  }
}

void ItemStore::dropListing(ItemRecord* record) {
  if (--blockOf(record).listings == 0) {
    chain(record);
  } else {
    --doubles_;
  }
}

void ItemStore::openGap(LONG p) {
  const LONG next = p < count_ ? settle(p + 1) : 0;
  settle();
  p = next > 0 ? next - 1 : count_;
  ++changes_;
  ItemRecord** const slots = items_.slots();
  move_ = {Move::kGap, p, p < count_ ? slots[count_ - 1] : nullptr};
  moveAddresses(slots + p + 1, slots + p, count_ - p);
}

bool ItemStore::fillGap(LONG p, ItemRecord* record) {
  if (move_.kind != Move::kGap) {
    if (!grow()) return false;
    openGap(p);
  }
  ++changes_;
  items_.slots()[move_.p] = record;
  addListing(record);
  items_.resize(++count_);
  putInOrder(move_.p);
  move_ = {};
  return true;
}

// Gives what is new at a zero-based place an order between that of its neighbours; where there is
// no number left between them, all get new ones.
void ItemStore::putInOrder(LONG p) {
  ItemRecord* const* const slots = items_.slots();
  const auto orderAt = [slots](LONG place) -> LONGLONG& { return blockOf(slots[place]).order; };
  const bool isLast = p == count_ - 1;
  if (p == 0 || isLast) {
    const LONGLONG beside = count_ == 1 ? 0 : isLast ? orderAt(p - 1) : orderAt(1);
    if (beside > kLastOrder || beside < -kLastOrder) return orderAll();
    orderAt(p) = isLast ? beside + kOrderStep : beside - kOrderStep;
    return;
  }
  const LONGLONG before = orderAt(p - 1), behind = orderAt(p + 1);
  orderAt(p) = before + (behind - before) / 2;
  if (orderAt(p) == before) orderAll();
}

// A record that is listed twice has one number only: until there is none, there is no order.
void ItemStore::orderAll() {
  isOrdered_ = doubles_ == 0;
  LONGLONG order = 0;
  for (LONG place = 0; place < count_; ++place) {
    blockOf(items_.slots()[place]).order = order += kOrderStep;
  }
}

void ItemStore::leaveGap() {
  if (move_.kind != Move::kGap) return;
  if (move_.pushed) {
    addListing(items_.slots()[move_.p]);
    dropListing(move_.pushed);
  }
  move_ = {};
  if (!isOrdered_ && doubles_ == 0) orderAll();
}

void ItemStore::moveDown(LONG position) {
  position = settle(position);
  ++changes_;
  ItemRecord** const slots = items_.slots();
  ItemRecord* const record = items_[position];
  moveAddresses(slots + position - 1, slots + position, count_ - position);
  move_ = {Move::kRemoval, position - 1, nullptr};
  dropListing(record);
}

void ItemStore::settle() {
  if (move_.kind == Move::kNone) return;
  const Move move = std::exchange(move_, {});
  ++changes_;
  if (move.kind == Move::kRemoval) {
    items_.resize(--count_);
  } else if (move.pushed) {
    ItemRecord** const slots = items_.slots();
    moveAddresses(slots + move.p, slots + move.p + 1, count_ - move.p - 1);
    slots[count_ - 1] = move.pushed;
  }
  if (!isOrdered_ && doubles_ == 0) orderAll();
}

LONG ItemStore::settle(LONG position) {
  const ItemRecord* const shown = items_[position];
  settle();
  for (const LONG now : {position, position - 1}) {
    if (now >= 1 && now <= count_ && items_[now] == shown) return now;
  }
  return 0;
}

void ItemStore::unlist(LONG position) {
  moveDown(position);
  settle();
}

ItemRecord* ItemStore::findStray() const {
  ItemRecord* record = unlisted_;
  while (record && isHeld(record)) record = blockOf(record).chain.next;
  return record;
}

}  // namespace zsupport
