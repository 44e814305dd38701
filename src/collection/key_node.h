// The nodes of the key index, one for each keyed item. A node lives in the block of its item's
// record, so that taking a key out frees nothing but the text.
#pragma once

#include <windows.h>

#include <cstddef>

#include "events/item_record.h"

namespace zsupport {

struct KeyNode {
  KeyNode* next;
  ItemRecord* record;
  OLECHAR* key;  // laid out like a platform string
};

static_assert(sizeof(KeyNode) == 12);
static_assert(offsetof(KeyNode, record) == 4);
static_assert(offsetof(KeyNode, key) == 8);

// The length that stands in front of a stored key.
inline UINT storedBytes(const OLECHAR* key) { return reinterpret_cast<const UINT*>(key)[-1]; }

inline constexpr LONG kChains = 2048;

}  // namespace zsupport
