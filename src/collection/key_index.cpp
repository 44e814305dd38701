#include "collection/key_index.h"

#include <oleauto.h>

#include <algorithm>
#include <cstring>

#include "ZSupport.h"
#include "automation/error.h"
#include "events/procedure.h"

namespace zsupport {
namespace {

constexpr SIZE_T kLengthPrefix = 4;
constexpr SIZE_T kTerminator = 2;

}  // namespace

bool KeyIndex::open(PrivateHeap& heap) {
  void* const buffer = heap.allocate(kBuckets * sizeof(KeyNode*));
  if (!buffer) return false;
  heap_ = &heap;
  buckets_.open(buffer, kBuckets, 0);
  return true;
}

void KeyIndex::close() {
  buckets_.close();
  heap_ = nullptr;
}

void KeyIndex::CompareMode(LONG mode) {
  compareMode_ = mode;
  compareFlags_ = mode == CompareText ? NORM_IGNORECASE : 0;
}

ItemRecord* KeyIndex::pvGetItemByKey(BSTR key, ItemRecord* record) {
  return framed(procedure(L"Function pvGetItemByKey"), [&]() -> ItemRecord* {
    Text lowered;
    const BSTR sought = normalised(key, lowered);
    const Place place = find(sought);
    if (place.node) return place.node->record;
    if (!record) return nullptr;

    auto* const node = heap_->allocate<KeyNode>();
    if (!node) raiseOwn(runtime::kOutOfMemory, L"Zollection.Add");
    OLECHAR* const stored = pvSysAllocString(sought);
    if (!stored) {
      heap_->free(node);
      raiseOwn(runtime::kOutOfMemory, L"Zollection.Add");
    }
    *node = {nullptr, record, stored};
    record->key = stored;
    *place.link = node;
    return nullptr;
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
  KeyNode** link = &bucketOf(text);
  while (*link && (*link)->key != text) link = &(*link)->next;
  KeyNode* const node = *link;
  if (!node) return;
  *link = node->next;
  heap_->free(node);
}

ItemRecord* KeyIndex::take(BSTR key) {
  Text lowered;
  const Place place = find(normalised(key, lowered));
  if (!place.node) return nullptr;
  ItemRecord* const record = place.node->record;
  pvSysFreeString(place.node->key);
  record->key = nullptr;
  *place.link = place.node->next;
  heap_->free(place.node);
  return record;
}

BSTR KeyIndex::normalised(BSTR key, Text& lowered) const {
  if (compareMode_ != CompareText) return key;
  lowered = lowerCase(viewOf(key));
  return lowered.get();
}

KeyNode*& KeyIndex::bucketOf(BSTR key) const {
  // Locale 0 and the 16-bit system kind: these fix the values that the hash gives.
  const auto hash = static_cast<LONG>(LHashValOfNameSys(SYS_WIN16, 0, key ? key : L""));
  return buckets_[hash % kBuckets];
}

bool KeyIndex::equal(BSTR searched, OLECHAR* stored) const {
  const UINT length = SysStringLen(searched);
  if (length != SysStringLen(stored)) return false;
  // The same characters are equal in any language; the platform is asked only about others.
  return std::equal(searched, searched + length, stored) ||
         VarBstrCmp(searched, stored, LOCALE_USER_DEFAULT, compareFlags_) ==
             static_cast<HRESULT>(VARCMP_EQ);
}

KeyIndex::Place KeyIndex::find(BSTR normalisedKey) const {
  KeyNode** link = &bucketOf(normalisedKey);
  while (*link && !equal(normalisedKey, (*link)->key)) link = &(*link)->next;
  return {link, *link};
}

OLECHAR* KeyIndex::pvSysAllocString(BSTR source) {
  return framed(procedure(L"Function pvSysAllocString"), [&]() -> OLECHAR* {
    const UINT bytes = SysStringByteLen(source);
    auto* const block =
        static_cast<std::byte*>(heap_->allocate(kLengthPrefix + bytes + kTerminator));
    if (!block) return nullptr;
    std::memcpy(block, &bytes, kLengthPrefix);
    std::memcpy(block + kLengthPrefix, source, bytes);
    return reinterpret_cast<OLECHAR*>(block + kLengthPrefix);
  });
}

void KeyIndex::pvSysFreeString(OLECHAR* text) {
  framed(procedure(L"Sub pvSysFreeString"),
         [&] { heap_->free(reinterpret_cast<std::byte*>(text) - kLengthPrefix); });
}

}  // namespace zsupport
