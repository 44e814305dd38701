#include "collection/key_index.h"

#include <oleauto.h>

#include <algorithm>
#include <array>
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

ItemRecord* KeyIndex::pvGetItemByKey(BSTR key, KeyNode* entry) {
  return framed(procedure(L"Function pvGetItemByKey"), [&] {
    const wchar_t* const source = entry ? L"Zollection.Add" : L"Zollection.pvGetItemByKey";
    return orOutOfMemory(source, [&]() -> ItemRecord* {
      Search search(key, *this);
      if (const KeyNode* const node = find(search)) return node->record;
      if (entry) enter(search, entry);
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
  const KeyNode* const node = orOutOfMemory(L"Zollection.RemoveByKey", [&] {
    Search search(key, *this);
    return find(search);
  });
  if (!node) return nullptr;
  ItemRecord* const record = node->record;
  pvRemoveKey(node->key);
  record->key = nullptr;
  return record;
}

KeyIndex::Search::Search(BSTR sought, const KeyIndex& index)
    : key(sought, index.ignoresCase()), hash(index.shortcut_.hashOf(key)) {}

bool KeyIndex::isProvable(const OLECHAR* text, UINT bytes) const {
  return provableLanguage_ && zsupport::isProvable(text, bytes, ignoresCase());
}

// Locale 0 and the 16-bit system kind: these fix the values that the hash gives.
LONG KeyIndex::chainOf(const Search& search) const {
  const KeyText& key = search.key;
  std::array<char, 64> narrow;
  LONG hash;
  if (search.isProvable && key.length() < narrow.size()) {
    // The same without the platform's conversion, which takes memory.
    const auto narrowed = [](OLECHAR character) { return static_cast<char>(character); };
    *std::transform(key.get(), key.get() + key.length(), narrow.begin(), narrowed) = '\0';
    hash = static_cast<LONG>(LHashValOfNameSysA(SYS_WIN16, 0, narrow.data()));
  } else {
    hash = static_cast<LONG>(LHashValOfNameSys(SYS_WIN16, 0, key.get()));
  }
  // What system and language give stands in the upper half of every hash: this is no memory.
  if (hash == 0) throw std::bad_alloc();
  return hash % kChains;
}

bool KeyIndex::equal(const Search& search, OLECHAR* stored) const {
  const KeyText& key = search.key;
  if (key.length() != SysStringLen(stored)) return false;
  if (search.isProvable && isProvable(stored, storedBytes(stored))) {
    return std::equal(key.get(), key.get() + key.length(), stored);
  }
  return VarBstrCmp(key.get(), stored, LOCALE_USER_DEFAULT, compareFlags_) ==
         static_cast<HRESULT>(VARCMP_EQ);
}

KeyNode* KeyIndex::find(Search& search) const {
  if (!heap_) return nullptr;  // closed, and so empty
  if (KeyNode* const node = shortcut_.find(search.key, search.hash)) return node;
  search.isProvable = isProvable(search.key.get(), search.key.bytes());
  if (others_ == 0 && search.isProvable && shortcut_.isComplete()) return nullptr;
  search.chain = chainOf(search);
  KeyNode* node = buckets_[search.chain];
  while (node && !equal(search, node->key)) node = node->next;
  return node;
}

void KeyIndex::enter(Search& search, KeyNode* node) {
  if (search.chain == kNotAsked) search.chain = chainOf(search);
  KeyNode*& head = buckets_[search.chain];
  KeyNode*& tail = tails_[search.chain];
  OLECHAR* const stored = pvSysAllocString(search.key);
  if (!stored) throw std::bad_alloc();
  node->next = nullptr;
  node->key = node->record->key = stored;
  (tail ? tail->next : head) = node;
  tail = node;
  if (shortcut_.enter(node, search.hash, search.chain) && !search.isProvable) ++others_;
}

bool KeyIndex::cut(LONG chain, const OLECHAR* stored) {
  KeyNode* before = nullptr;
  KeyNode* node = buckets_[chain];
  for (; node && node->key != stored; node = node->next) before = node;
  if (!node) return false;
  (before ? before->next : buckets_[chain]) = node->next;
  if (!node->next) tails_[chain] = before;
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
