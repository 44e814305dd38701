// The shortcut in front of the chains of a key index.
//
// The chains alone say which keys are equal, but to walk one costs the platform's name hash and a
// comparison in the user's language for each key on it. The shortcut is an open-addressing table
// that leads from the exact text of a key to its node. What it finds is right, because no two equal
// keys are ever in the index. That it finds nothing says only that the very text is not there:
// whether an equal one is, only the chains know, unless language plays no part (key_text.h).
//
// A slot is a node and a tag: 21 bits of the text's hash, which give its place and let most
// misses end without a look at a text, and the number of the node's chain, so that taking a node
// out asks the platform for nothing. Collisions go to the next slot; a removal moves them back. The
// table is doubled when two thirds are used. When there is no memory for that, the node stays out
// of the table, which counts it: the table is then incomplete, and never wrong.
#pragma once

#include <windows.h>

#include "automation/private_heap.h"
#include "collection/key_node.h"
#include "collection/key_text.h"

namespace zsupport {

class KeyShortcut {
 public:
  void open(PrivateHeap& heap);
  // Forgets everything; the heap's owner frees it.
  void close();

  // Whether every node of the chains is in the table.
  bool isComplete() const { return heap_ && outside_ == 0; }

  ULONG hashOf(const KeyText& key) const { return hashOf(key.get(), key.bytes()); }

  // The node of the very same text; null when the table has none.
  KeyNode* find(const KeyText& key, ULONG hash) const;

  // False when there was no memory to enter it.
  bool enter(KeyNode* node, ULONG hash, LONG chain);

  // Takes out the node of a stored text, known by its address. Returns the node's chain, or -1 when
  // the table has no such node.
  LONG remove(const OLECHAR* stored);
  // A node that was not in the table has left the chains.
  void removedOutside() { --outside_; }

  // Leaves all nodes to the chains.
  void forgetAll();

 private:
  struct Slot {
    ULONG tag;
    KeyNode* node;  // null when the slot is free
  };

  static constexpr ULONG kChainBits = kChains - 1;

  ULONG hashOf(const OLECHAR* text, UINT bytes) const;
  ULONG home(ULONG hash) const { return (hash & ~kChainBits) >> shift_; }
  ULONG after(ULONG place) const { return (place + 1) & mask_; }
  void put(Slot slot);
  void erase(ULONG place);
  bool makeRoom();

  PrivateHeap* heap_ = nullptr;
  Slot* slots_ = nullptr;
  ULONG mask_ = 0;     // number of slots, a power of two, less one
  ULONG shift_ = 0;    // of a hash, to get a place
  ULONG used_ = 0;     // slots
  ULONG outside_ = 0;  // nodes that are in the chains only
  ULONG seed_ = 0;     // makes it hard to choose keys that collide
};

}  // namespace zsupport
