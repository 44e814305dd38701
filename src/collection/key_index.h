// The key index of a collection: a hash table of 2048 chains that never grows.
//
// A key is hashed with the platform's name hash, which folds letter case and accents, so keys that
// differ only in case share a chain under either compare mode. A chain is a singly linked list of
// 12-byte nodes, new keys at its tail. Key texts are laid out like platform strings (length,
// characters, two zero bytes), so that the platform's string functions take them as they are; the
// record of a keyed item and its node name the same block. In front of the chains stands a
// shortcut (key_shortcut.h); to take a key out that is in it needs no memory and cannot fail.
#pragma once

#include <windows.h>

#include "automation/private_heap.h"
#include "collection/address_array.h"
#include "collection/key_node.h"
#include "collection/key_shortcut.h"
#include "collection/key_text.h"
#include "events/item_record.h"

namespace zsupport {

class KeyIndex {
 public:
  static constexpr LONG kBuckets = kChains;

  // An empty index in the heap; false when there is no memory. The compare mode stays.
  bool open(PrivateHeap& heap);
  // Forgets everything; the heap's owner frees it.
  void close();

  // Any number is kept, but only 1 compares without regard to case (and lower-cases the keys).
  LONG CompareMode() const { return compareMode_; }
  void CompareMode(LONG mode);

  // The record that the key leads to. When the key is absent, null is returned, and the key is
  // entered with the given node, for the record that it names, unless that is null, too. Error 7,
  // heard on every thread.
  ItemRecord* pvGetItemByKey(BSTR key, KeyNode* entry = nullptr);

  // Frees a stored key (a record's key pointer), and takes it out if it is still in the index.
  void pvRemoveKey(OLECHAR* text);
  // Takes a stored key out, if it is in, and leaves its text to the record.
  void unlink(OLECHAR* text);

  // Takes a key out and frees its text; returns its record, or null when it is absent. Error 7,
  // and then nothing has changed.
  ItemRecord* take(BSTR key);

 private:
  static constexpr LONG kNotAsked = -1;

  bool ignoresCase() const { return compareFlags_ != 0; }
  // A key that is sought, and what has been found out about it.
  struct Search {
    Search(BSTR sought, const KeyIndex& index);

    const KeyText key;
    const ULONG hash;         // in the shortcut
    bool isProvable = false;  // asked when the shortcut has not the very text
    LONG chain = kNotAsked;
  };

  bool isProvable(const OLECHAR* text, UINT bytes) const;
  LONG chainOf(const Search& search) const;
  bool equal(const Search& search, OLECHAR* stored) const;
  // The node of the key, or null.
  KeyNode* find(Search& search) const;
  // After find.
  void enter(Search& search, KeyNode* node);
  // Takes the node of a stored key out of a chain; false when it is not on it.
  bool cut(LONG chain, const OLECHAR* stored);

  OLECHAR* pvSysAllocString(const KeyText& source);
  void pvSysFreeString(OLECHAR* text);

  AddressArray<KeyNode> buckets_;
  AddressArray<KeyNode> tails_;  // the last node of each chain
  KeyShortcut shortcut_;
  ULONG others_ = 0;  // keys in the shortcut that may be equal to others than themselves
  PrivateHeap* heap_ = nullptr;
  LONG compareMode_ = 0;
  ULONG compareFlags_ = 0;
  bool provableLanguage_ = false;
};

}  // namespace zsupport
