#include "collection/key_shortcut.h"

#include <bit>
#include <cstring>
#include <utility>

namespace zsupport {
namespace {

constexpr ULONG kFirstSize = kChains;  // made with the first key; 16 KB

ULONG loadWord(const std::byte* from) {
  ULONG word;
  std::memcpy(&word, from, sizeof word);
  return word;
}

// The platform's memcmp costs more than all the rest of a search.
bool sameBytes(const OLECHAR* a, const OLECHAR* b, UINT count) {
  const auto* const left = reinterpret_cast<const std::byte*>(a);
  const auto* const right = reinterpret_cast<const std::byte*>(b);
  if (count < sizeof(ULONG)) return std::memcmp(left, right, count) == 0;
  const UINT last = count - sizeof(ULONG);
  for (UINT i = 0; i < last; i += sizeof(ULONG)) {
    if (loadWord(left + i) != loadWord(right + i)) return false;
  }
  return loadWord(left + last) == loadWord(right + last);
}

// Folds the 64-bit product of eight bytes with what came before.
struct Lane {
  static constexpr ULONG kFirst = 0x53C5CA59, kSecond = 0x74743C1B;

  ULONG a, b;

  void fold(ULONG low, ULONG high) {
    const ULONGLONG product = static_cast<ULONGLONG>(a ^ low) * (b ^ high);
    a = static_cast<ULONG>(product) ^ kFirst;
    b = static_cast<ULONG>(product >> 32) ^ kSecond;
  }
  void fold(const std::byte* from) { fold(loadWord(from), loadWord(from + sizeof(ULONG))); }
};

}  // namespace

void KeyShortcut::open(PrivateHeap& heap) {
  close();
  heap_ = &heap;
  LARGE_INTEGER time;
  QueryPerformanceCounter(&time);
  seed_ = time.LowPart ^ std::rotl(static_cast<ULONG>(reinterpret_cast<ULONG_PTR>(&heap)), 16);
}

void KeyShortcut::close() { *this = {}; }

KeyNode* KeyShortcut::find(const KeyText& key, ULONG hash) const {
  if (used_ == 0) return nullptr;
  for (ULONG place = home(hash); slots_[place].node; place = after(place)) {
    const Slot& slot = slots_[place];
    if (((slot.tag ^ hash) & ~kChainBits) == 0 && storedBytes(slot.node->key) == key.bytes() &&
        sameBytes(slot.node->key, key.get(), key.bytes())) {
      return slot.node;
    }
  }
  return nullptr;
}

bool KeyShortcut::enter(KeyNode* node, ULONG hash, LONG chain) {
  if (!makeRoom()) {
    ++outside_;
    return false;
  }
  put({(hash & ~kChainBits) | static_cast<ULONG>(chain), node});
  ++used_;
  return true;
}

LONG KeyShortcut::remove(const OLECHAR* stored) {
  if (used_ == 0) return -1;
  const ULONG hash = hashOf(stored, storedBytes(stored));
  for (ULONG place = home(hash); slots_[place].node; place = after(place)) {
    if (slots_[place].node->key != stored) continue;
    const ULONG tag = slots_[place].tag;
    erase(place);
    --used_;
    return static_cast<LONG>(tag & kChainBits);
  }
  return -1;
}

void KeyShortcut::forgetAll() {
  if (slots_) heap_->free(slots_);
  slots_ = nullptr;
  mask_ = shift_ = 0;
  outside_ += std::exchange(used_, 0);
}

// Two lanes, which the processor works on at once.
ULONG KeyShortcut::hashOf(const OLECHAR* text, UINT bytes) const {
  constexpr UINT kBlock = 16;
  Lane even = {seed_ ^ Lane::kFirst, bytes ^ Lane::kSecond}, odd = {even.b, even.a};
  const auto fold = [&](const std::byte* block) {
    even.fold(block);
    odd.fold(block + kBlock / 2);
  };
  const auto* at = reinterpret_cast<const std::byte*>(text);
  if (bytes < kBlock) {
    std::byte block[kBlock] = {};
    if (bytes > 0) std::memcpy(block, at, bytes);
    fold(block);
  } else {
    // The last block overlaps the one before it.
    const std::byte* const last = at + bytes - kBlock;
    for (; at < last; at += kBlock) fold(at);
    fold(last);
  }
  even.fold(odd.a, odd.b);
  even.fold(seed_, 0);
  return even.a ^ even.b;
}

void KeyShortcut::put(Slot slot) {
  ULONG place = home(slot.tag);
  while (slots_[place].node) place = after(place);
  slots_[place] = slot;
}

// What had to go past the slot moves back, so that no search ends too early.
void KeyShortcut::erase(ULONG place) {
  for (ULONG later = after(place); slots_[later].node; later = after(later)) {
    const ULONG fromHome = (later - home(slots_[later].tag)) & mask_;
    if (fromHome < ((later - place) & mask_)) continue;
    slots_[place] = slots_[later];
    place = later;
  }
  slots_[place] = {};
}

bool KeyShortcut::makeRoom() {
  const ULONG size = slots_ ? mask_ + 1 : 0;
  if (3 * (used_ + 1) <= 2 * size) return true;
  const ULONG larger = size ? 2 * size : kFirstSize;
  auto* const slots = static_cast<Slot*>(heap_->allocate(larger * sizeof(Slot)));
  if (!slots) return false;
  Slot* const old = std::exchange(slots_, slots);
  mask_ = larger - 1;
  shift_ = 32 - static_cast<ULONG>(std::countr_zero(larger));
  for (ULONG place = 0; place < size; ++place) {
    if (old[place].node) put(old[place]);
  }
  if (old) heap_->free(old);
  return true;
}

}  // namespace zsupport
