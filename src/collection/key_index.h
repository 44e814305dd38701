// The key index of a collection: a hash table of 2048 chains that never grows.
//
// A key is hashed with the platform's name hash, which folds letter case and accents, so keys that
// differ only in case share a chain under either compare mode. A chain is a singly linked list of
// 12-byte nodes, new keys at its tail. Key texts are laid out like platform strings (length,
// characters, two zero bytes), so that the platform's string functions take them as they are; the
// record of a keyed item and its node name the same block.
#pragma once

#include <windows.h>

#include <cstddef>

#include "automation/text.h"
#include "collection/address_array.h"
#include "collection/private_heap.h"
#include "events/item_record.h"

namespace zsupport {

struct KeyNode {
  KeyNode* next;
  ItemRecord* record;
  OLECHAR* key;
};

static_assert(sizeof(KeyNode) == 12);
static_assert(offsetof(KeyNode, record) == 4);
static_assert(offsetof(KeyNode, key) == 8);

class KeyIndex {
 public:
  static constexpr LONG kBuckets = 2048;

  // An empty index in the heap; false when there is no memory. The compare mode stays.
  bool open(PrivateHeap& heap);
  // Forgets everything; the heap's owner frees it.
  void close();

  // Any number is kept, but only 1 compares without regard to case (and lower-cases the keys).
  LONG CompareMode() const { return compareMode_; }
  void CompareMode(LONG mode);

  // The record that the key leads to. When the key is absent, null is returned, and the key is
  // entered for the given record unless that is null, too.
  ItemRecord* pvGetItemByKey(BSTR key, ItemRecord* record);

  // Frees a stored key (a record's key pointer), and takes it out if it is still in the index.
  void pvRemoveKey(OLECHAR* text);
  // Takes a stored key out and leaves its text to the record.
  void unlink(OLECHAR* text);

  // Takes a key out and frees its text; returns its record, or null when it is absent.
  ItemRecord* take(BSTR key);

 private:
  // A place in a chain: the link that leads to the node, and the node or null at the end.
  struct Place {
    KeyNode** link;
    KeyNode* node;
  };

  // The key in the form in which it is hashed, compared and stored: itself, or lowered.
  BSTR normalised(BSTR key, Text& lowered) const;
  KeyNode*& bucketOf(BSTR key) const;
  bool equal(BSTR searched, OLECHAR* stored) const;
  Place find(BSTR normalisedKey) const;

  OLECHAR* pvSysAllocString(BSTR source);
  void pvSysFreeString(OLECHAR* text);

  AddressArray<KeyNode> buckets_;
  PrivateHeap* heap_ = nullptr;
  LONG compareMode_ = 0;
  ULONG compareFlags_ = 0;
};

}  // namespace zsupport
