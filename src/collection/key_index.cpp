#include "collection/key_index.h"

#include <oleauto.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "ZSupport.h"
#include "automation/error.h"
#include "events/procedure.h"

namespace zsupport {
namespace {

constexpr SIZE_T kLengthPrefix = 4;
constexpr SIZE_T kTerminator = 2;

// Runs a step for which there may be no memory. Callers must not take a failure for an absent key,
// so it is an error of the collection's own, which every thread raises.
template <class Step>
auto orOutOfMemory(const wchar_t* source, Step&& step) {
  try {
    return step();
  } catch (const std::bad_alloc&) {
    raiseOwn(runtime::kOutOfMemory, source);
  }
}

}  // namespace

bool KeyIndex::open(PrivateHeap& heap) {
  void* const heads = heap.allocate(kChains * sizeof(KeyNode*));
  void* const tails = heads ? heap.allocate(kChains * sizeof(KeyNode*)) : nullptr;
  if (!tails) return false;
  heap_ = &heap;
  buckets_.open(heads, kChains, 0);
  tails_.open(tails, kChains, 0);
  shortcut_.open(heap);
  others_ = 0;
  provableLanguage_ = isProvableLanguage();
  return true;
}

void KeyIndex::close() {
  buckets_.close();
  tails_.close();
  shortcut_.close();
  heap_ = nullptr;
}

void KeyIndex::CompareMode(LONG mode) {
  const ULONG flags = mode == CompareText ? NORM_IGNORECASE : 0;
  if (flags != compareFlags_) {
    // Keys of records that are not listed may be left, and were told apart by the other mode.
    shortcut_.forgetAll();
    others_ = 0;
  }
  compareMode_ = mode;
  compareFlags_ = flags;
}

ItemRecord* KeyIndex::pvGetItemByKey(BSTR key, ItemRecord* record) {
  return framed(procedure(L"Function pvGetItemByKey"), [&] {
    const wchar_t* const source = record ? L"Zollection.Add" : L"Zollection.pvGetItemByKey";
    return orOutOfMemory(source, [&]() -> ItemRecord* {
      const KeyText sought(key, ignoresCase());
      LONG chain = kNotAsked;
      if (const KeyNode* const node = find(sought, chain)) return node->record;
      if (record) enter(sought, record, chain);
      return nullptr;
    });
  });
}

void KeyIndex::pvRemoveKey(OLECHAR* text) {
  framed(procedure(L"Sub pvRemoveKey"), [&] {
    unlink(text);
    pvSysFreeString(text);
  });
}

// By address: an equal text may by now be the key of another record.
void KeyIndex::unlink(OLECHAR* text) {
  const LONG chain = shortcut_.remove(text);
  if (chain >= 0) {
    if (!isProvable(text, storedBytes(text))) --others_;
    cut(chain, text);
    return;
  }
  if (shortcut_.isComplete()) return;
  for (LONG any = 0; any < buckets_.size(); ++any) {
    if (cut(any, text)) return shortcut_.removedOutside();
  }
}

ItemRecord* KeyIndex::take(BSTR key) {
  LONG chain = kNotAsked;
  const KeyNode* const node = orOutOfMemory(
      L"Zollection.RemoveByKey", [&] { return find(KeyText(key, ignoresCase()), chain); });
  if (!node) return nullptr;
  ItemRecord* const record = node->record;
  pvRemoveKey(node->key);
  record->key = nullptr;
  return record;
}

bool KeyIndex::isProvable(const OLECHAR* text, UINT bytes) const {
  return provableLanguage_ && zsupport::isProvable(text, bytes, ignoresCase());
}

LONG KeyIndex::chainOf(const KeyText& key) const {
  // Locale 0 and the 16-bit system kind: these fix the values that the hash gives.
  const auto hash = static_cast<LONG>(LHashValOfNameSys(SYS_WIN16, 0, key.get()));
  // What system and language give stands in the upper half of every hash: this is none.
  if (hash == 0) throw std::bad_alloc();
  return hash % kChains;
}

bool KeyIndex::equal(const KeyText& searched, OLECHAR* stored) const {
  if (searched.length() != SysStringLen(stored)) return false;
  if (isProvable(searched.get(), searched.bytes()) && isProvable(stored, storedBytes(stored))) {
    return std::equal(searched.get(), searched.get() + searched.length(), stored);
  }
  return VarBstrCmp(searched.get(), stored, LOCALE_USER_DEFAULT, compareFlags_) ==
         static_cast<HRESULT>(VARCMP_EQ);
}

KeyNode* KeyIndex::find(const KeyText& key, LONG& chain) const {
  if (KeyNode* const node = shortcut_.find(key)) return node;
  if (others_ == 0 && shortcut_.isComplete() && isProvable(key.get(), key.bytes())) return nullptr;
  chain = chainOf(key);
  KeyNode* node = buckets_[chain];
  while (node && !equal(key, node->key)) node = node->next;
  return node;
}

void KeyIndex::enter(const KeyText& key, ItemRecord* record, LONG chain) {
  if (chain == kNotAsked) chain = chainOf(key);
  KeyNode*& head = buckets_[chain];
  KeyNode*& tail = tails_[chain];
  auto* const node = heap_->allocate<KeyNode>();
  if (!node) throw std::bad_alloc();
  OLECHAR* const stored = pvSysAllocString(key);
  if (!stored) {
    heap_->free(node);
    throw std::bad_alloc();
  }
  *node = {nullptr, record, stored};
  record->key = stored;
  (tail ? tail->next : head) = node;
  tail = node;
  if (shortcut_.enter(node, chain) && !isProvable(key.get(), key.bytes())) ++others_;
}

bool KeyIndex::cut(LONG chain, const OLECHAR* stored) {
  KeyNode* before = nullptr;
  KeyNode* node = buckets_[chain];
  for (; node && node->key != stored; node = node->next) before = node;
  if (!node) return false;
  (before ? before->next : buckets_[chain]) = node->next;
  if (!node->next) tails_[chain] = before;
  heap_->free(node);
  return true;
}

OLECHAR* KeyIndex::pvSysAllocString(const KeyText& source) {
  return framed(procedure(L"Function pvSysAllocString"), [&]() -> OLECHAR* {
    const UINT bytes = source.bytes();
    auto* const block =
        static_cast<std::byte*>(heap_->allocate(kLengthPrefix + bytes + kTerminator));
    if (!block) return nullptr;
    std::memcpy(block, &bytes, kLengthPrefix);
    std::memcpy(block + kLengthPrefix, source.get(), bytes);
    return reinterpret_cast<OLECHAR*>(block + kLengthPrefix);
  });
}

void KeyIndex::pvSysFreeString(OLECHAR* text) {
  framed(procedure(L"Sub pvSysFreeString"),
         [&] { heap_->free(reinterpret_cast<std::byte*>(text) - kLengthPrefix); });
}

}  // namespace zsupport
