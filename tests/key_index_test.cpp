// The key index from within, held against the platform: that what it takes for different without
// asking is different, and that it finds what a walk of the chains with VarBstrCmp alone finds.
// Another fuzz: --gtest_random_seed=N.
#include "collection/key_index.h"

#include <algorithm>
#include <deque>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "ZSupport.h"
#include "automation/error.h"
#include "automation/text.h"
#include "support/imports.h"

using namespace zsupport;

namespace {

// A record with its node.
struct Item : ItemRecord {
  Item() : ItemRecord{} {}
  Item(const Item&) = delete;
  Item& operator=(const Item&) = delete;
  KeyNode node = {nullptr, this, nullptr};
};

TEST(KeyIndex, TakesNoTextsForDifferentThatThePlatformHoldsEqual) {
  for (const ULONG flags : {0ul, static_cast<ULONG>(NORM_IGNORECASE)}) {
    std::wstring characters;
    for (OLECHAR c = 0; c < 0x80; ++c) {
      if (isProvable(c, flags != 0)) characters += c;
    }
    std::vector<Text> texts;
    for (const OLECHAR a : characters) {
      texts.emplace_back(std::wstring(1, a));
      for (const OLECHAR b : characters) texts.emplace_back(std::wstring{a, b});
    }
    // VarBstrCmp orders texts, so equal ones would be neighbours.
    const auto compare = [flags](const Text& a, const Text& b) {
      return VarBstrCmp(a.get(), b.get(), LOCALE_USER_DEFAULT, flags);
    };
    std::ranges::sort(texts,
                      [&](const Text& a, const Text& b) { return compare(a, b) == VARCMP_LT; });
    for (size_t i = 1; i < texts.size(); ++i) {
      EXPECT_EQ(static_cast<HRESULT>(VARCMP_LT), compare(texts[i - 1], texts[i]))
          << texts[i - 1].get() << " and " << texts[i].get();
    }
  }
}

// Short keys of few characters, so that they meet.
std::string anyKey(std::mt19937& random, bool isProvable) {
  static const std::wstring plain = L"aAbB@Zz[`{K;19-' s";
  static const std::wstring others =
      std::wstring(L"\0\u00AD\u200B\u200C\u0301\u0300\u00E9\u00C9", 8) +
      L"\u00E8\u00DF\u1E9E\uFF41\uFF21\u0131\u0130\u03C3\u03C2\u03A3\x7F\x01\u212A\u037E";
  std::wstring text;
  for (auto length = random() % 5; text.size() <= length;) {
    const std::wstring& from = !isProvable && random() % 3 == 0 ? others : plain;
    text += from[random() % from.size()];
  }
  if (random() % 50 == 0) text.insert(0, 40 + random() % 60, L'x');
  std::string bytes(reinterpret_cast<const char*>(text.data()), 2 * text.size());
  if (!isProvable && random() % 10 == 0) bytes += "cCd"[random() % 3];
  return bytes;
}

Text textOf(const std::string& bytes) {
  Text text;
  *text.inout() = SysAllocStringByteLen(bytes.data(), static_cast<UINT>(bytes.size()));
  return text;
}

// The oracle: the chains as they are described, and the platform's comparison in each.
struct PlainChains {
  struct Entry {
    Text text;
    ItemRecord* record;
    LONG chain;
  };

  // An odd byte is the lower half of a last character to the hash.
  Entry entryOf(std::string key, ItemRecord* record = nullptr) const {
    if (flags) key.resize(key.size() / 2 * 2);
    Text text = textOf(key + std::string(4, '\0'));
    reinterpret_cast<UINT*>(text.get())[-1] = static_cast<UINT>(key.size());
    if (const auto size = static_cast<int>(key.size() / 2); flags && size > 0) {
      const std::wstring source(text.view());
      LCMapStringW(LOCALE_USER_DEFAULT, LCMAP_LOWERCASE, source.data(), size, text.get(), size);
    }
    const auto hash = static_cast<LONG>(LHashValOfNameSys(SYS_WIN16, 0, text.get()));
    return {std::move(text), record, hash % kChains};
  }
  ItemRecord* find(const std::string& key) const {
    const Entry sought = entryOf(key);
    const auto found = std::ranges::find_if(entries, [&](const Entry& entry) {
      return entry.chain == sought.chain && entry.text.view().size() == sought.text.view().size() &&
             VarBstrCmp(sought.text.get(), entry.text.get(), LOCALE_USER_DEFAULT, flags) ==
                 static_cast<HRESULT>(VARCMP_EQ);
    });
    return found == entries.end() ? nullptr : found->record;
  }

  const ULONG flags;
  std::vector<Entry> entries = {};
};

// Keys of any kind are sought, but perhaps only provable ones entered.
void fuzz(LONG mode, bool provable, std::mt19937 random) {
  const auto heap = PrivateHeap::create(0);
  KeyIndex index;
  index.CompareMode(mode);
  ASSERT_TRUE(index.open(*heap.get()));
  PlainChains oracle{mode == CompareText ? ULONG{NORM_IGNORECASE} : 0};
  std::deque<Item> records;
  for (int step = 0; step < 8'000; ++step) {
    const auto action = random() % 4;
    const std::string bytes = anyKey(random, provable && action < 2);
    const Text key = textOf(bytes);
    ItemRecord* const expected = oracle.find(bytes);
    ASSERT_EQ(expected, index.pvGetItemByKey(key.get()));
    ItemRecord* removed = nullptr;
    if (action < 2) {
      ASSERT_EQ(expected, index.pvGetItemByKey(key.get(), &records.emplace_back().node));
      if (expected) continue;
      oracle.entries.push_back(oracle.entryOf(bytes, &records.back()));
      EXPECT_EQ(oracle.entries.back().text.view(), viewOf(records.back().key));
    } else if (action == 2) {
      ASSERT_EQ(expected, removed = index.take(key.get()));
    } else if (!oracle.entries.empty()) {
      removed = oracle.entries[random() % oracle.entries.size()].record;
      if (random() % 2) index.unlink(removed->key);
      index.pvRemoveKey(removed->key);
    }
    std::erase_if(oracle.entries, [&](const auto& entry) { return entry.record == removed; });
  }
}

TEST(KeyIndex, FindsWhatAWalkOfTheChainsFinds) {
  const auto seed = static_cast<unsigned>(GTEST_FLAG_GET(random_seed));
  for (const LONG mode : {CompareBinary, CompareText}) {
    for (const bool provable : {false, true}) fuzz(mode, provable, std::mt19937(seed));
  }
}

extern "C" void* heapImport __asm__("__imp__HeapAlloc@12");
extern "C" void* hashImport __asm__("__imp__LHashValOfNameSys@12");
SIZE_T memoryLeft = 0;
void* realHeapAlloc = nullptr;

LPVOID WINAPI scarceHeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes) {
  if (bytes > 16'384 || bytes > memoryLeft) return nullptr;
  memoryLeft -= bytes;
  return reinterpret_cast<decltype(HeapAlloc)*>(realHeapAlloc)(heap, flags, bytes);
}

ULONG WINAPI hashWithoutMemory(SYSKIND, LCID, const OLECHAR*) { return 0; }

// The shortcut stops growing long before memory ends.
TEST(KeyIndex, KeepsWhatItHasWhenMemoryEnds) {
  const auto heap = PrivateHeap::create(0);
  KeyIndex index;
  std::deque<Item> records(3'000);
  const auto key = [](size_t i) { return Text(L"caf\u00e9 " + std::to_wstring(i)); };
  memoryLeft = 90'000;
  realHeapAlloc = exchangeImport(&heapImport, reinterpret_cast<void*>(scarceHeapAlloc));
  ASSERT_TRUE(index.open(*heap.get()));
  size_t count = 0;
  try {
    for (; count < records.size(); ++count) {
      index.pvGetItemByKey(key(count).get(), &records[count].node);
    }
  } catch (const Error& error) {
    EXPECT_EQ(runtime::kOutOfMemory, error.number);
  }
  ASSERT_TRUE(count > 1'000 && count < records.size()) << count;

  memoryLeft = 1'000;
  void* const realHash = exchangeImport(&hashImport, reinterpret_cast<void*>(hashWithoutMemory));
  EXPECT_THROW(index.pvGetItemByKey(key(count).get(), &records[count].node), Error);
  EXPECT_EQ(&records[0], index.take(key(0).get()));
  exchangeImport(&hashImport, realHash);

  memoryLeft = 0;
  for (size_t i = 3; i < count; i += 3) EXPECT_EQ(&records[i], index.take(key(i).get()));
  for (size_t i = 0; i <= count; ++i) {
    EXPECT_EQ(i % 3 && i < count ? &records[i] : nullptr, index.pvGetItemByKey(key(i).get()));
  }
  exchangeImport(&heapImport, realHeapAlloc);
}

}  // namespace
