#include "collection/key_shortcut.h"

#include <bit>
#include <cstring>
#include <utility>

namespace zsupport {
namespace {

constexpr ULONG kFirstSize = 16;

ULONG loadWord(const std::byte* from) {
  ULONG word;
  std::memcpy(&word, from, sizeof word);
  return word;
}

}  // namespace

void KeyShortcut::open(PrivateHeap& heap) {
  close();
  heap_ = &heap;
  LARGE_INTEGER time;
  QueryPerformanceCounter(&time);
  seed_ = time.LowPart ^ std::rotl(static_cast<ULONG>(reinterpret_cast<ULONG_PTR>(&heap)), 16);
}

void KeyShortcut::close() { *this = {}; }

KeyNode* KeyShortcut::find(const KeyText& key) const {
  if (used_ == 0) return nullptr;
  const ULONG hash = hashOf(key.get(), key.bytes());
  for (ULONG place = home(hash); slots_[place].node; place = after(place)) {
    const Slot& slot = slots_[place];
    if (((slot.tag ^ hash) & ~kChainBits) == 0 && storedBytes(slot.node->key) == key.bytes() &&
        std::memcmp(slot.node->key, key.get(), key.bytes()) == 0) {
      return slot.node;
    }
  }
  return nullptr;
}

bool KeyShortcut::enter(KeyNode* node, LONG chain) {
  if (!makeRoom()) {
    ++outside_;
    return false;
  }
  const ULONG hash = hashOf(node->key, storedBytes(node->key));
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

// Each step folds the 64-bit product of eight bytes with what came before.
ULONG KeyShortcut::hashOf(const OLECHAR* text, UINT bytes) const {
  constexpr ULONG kFirst = 0x53C5CA59, kSecond = 0x74743C1B;
  ULONG a = seed_ ^ kFirst, b = bytes ^ kSecond;
  const auto fold = [&](ULONG low, ULONG high) {
    const ULONGLONG product = static_cast<ULONGLONG>(a ^ low) * (b ^ high);
    a = static_cast<ULONG>(product) ^ kFirst;
    b = static_cast<ULONG>(product >> 32) ^ kSecond;
  };
  const auto* at = reinterpret_cast<const std::byte*>(text);
  for (; bytes >= 8; bytes -= 8, at += 8) fold(loadWord(at), loadWord(at + 4));
  std::byte rest[8] = {};
  if (bytes > 0) std::memcpy(rest, at, bytes);
  fold(loadWord(rest), loadWord(rest + 4));
  fold(seed_, 0);
  return a ^ b;
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
