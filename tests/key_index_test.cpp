// The key index from within, held against the platform: that what it takes for different without
// asking is different, and that it finds what a walk of the chains with VarBstrCmp alone finds.
// Another fuzz: --gtest_random_seed=N.
#include "collection/key_index.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "ZSupport.h"
#include "automation/error.h"
#include "automation/text.h"
#include "support/imports.h"
#include "support/plain_chains.h"

using namespace zsupport;

namespace {

// A record with its node.
struct Item : ItemRecord {
  Item() : ItemRecord{} {}
  Item(const Item&) = delete;
  Item& operator=(const Item&) = delete;
  KeyNode node = {nullptr, this, nullptr};
};

std::vector<std::wstring> textsOf(ULONG flags, UINT length, const std::wstring& prefix = L"") {
  if (length == 0) return {prefix};
  std::vector<std::wstring> texts;
  for (OLECHAR c = 0; c < 0x80; ++c) {
    if (!isProvable(c, flags != 0)) continue;
    std::ranges::move(textsOf(flags, length - 1, prefix + c), std::back_inserter(texts));
  }
  return texts;
}

// VarBstrCmp orders texts, so equal ones would be neighbours.
void expectDifferent(const std::vector<std::wstring>& texts, ULONG flags) {
  std::vector<Text> sorted;
  for (const std::wstring& text : texts) sorted.emplace_back(text);
  const auto compare = [flags](const Text& a, const Text& b) {
    return VarBstrCmp(a.get(), b.get(), LOCALE_USER_DEFAULT, flags);
  };
  std::ranges::sort(sorted,
                    [&](const Text& a, const Text& b) { return compare(a, b) == VARCMP_LT; });
  for (size_t i = 1; i < sorted.size(); ++i) {
    EXPECT_EQ(static_cast<HRESULT>(VARCMP_LT), compare(sorted[i - 1], sorted[i]))
        << flags << ": " << sorted[i - 1].get() << " and " << sorted[i].get();
  }
}

TEST(KeyIndex, TakesNoTextsForDifferentThatThePlatformHoldsEqual) {
  for (const ULONG flags : {0ul, static_cast<ULONG>(NORM_IGNORECASE)}) {
    for (const UINT length : {1u, 2u}) expectDifferent(textsOf(flags, length), flags);
    for (std::wstring text : {L"co-op '1", L"ss-ae_oe", L"dzsddzs", L"ij'.,-#", L"ll- ch-9"}) {
      std::vector<std::wstring> permutations;
      std::ranges::sort(text);
      do {
        permutations.push_back(text);
      } while (std::ranges::next_permutation(text).found && permutations.size() < 10'000);
      expectDifferent(permutations, flags);
    }
  }
}

TEST(KeyIndex, LowersAsThePlatformDoes) {
  std::wstring text;
  for (OLECHAR a = 0; a < 0x80; ++a) {
    for (OLECHAR b = 0; b < 0x80; ++b) text += {a, b};
  }
  for (const wchar_t* const other : {L"", L"\u00C9\u0130\u03A3 IJ\u1E9E"}) {
    const Text key(text + other);
    Text lowered(key.view());
    const auto size = static_cast<int>(key.view().size());
    LCMapStringW(LOCALE_USER_DEFAULT, LCMAP_LOWERCASE, key.get(), size, lowered.get(), size);
    const KeyText sought(key.get(), true);
    EXPECT_EQ(lowered.view(), std::wstring_view(sought.get(), sought.length()));
  }
}

// Short keys of few characters, so that they meet.
class Keys {
 public:
  Keys(std::mt19937& random, bool provable) : random_(random), provable_(provable) {}

  std::string operator()() {
    static const std::wstring plain = L"aAbBK;19-' s";
    static const std::wstring others =
        std::wstring(L"\0\u00AD\u200B\u200C\u0301\u0300\u00E9\u00C9", 8) +
        L"\u00E8\u00DF\u1E9E\uFF41\uFF21\u0131\u0130\u03C3\u03C2\u03A3\x7F\x01\u212A\u037E";
    std::wstring text;
    for (auto length = random_() % 5; text.size() <= length;) {
      const std::wstring& from = !provable_ && random_() % 3 == 0 ? others : plain;
      text += from[random_() % from.size()];
    }
    if (random_() % 50 == 0) text.insert(0, 40 + random_() % 60, L'x');
    std::string bytes(reinterpret_cast<const char*>(text.data()), 2 * text.size());
    if (!provable_ && random_() % 10 == 0) bytes += "cCd"[random_() % 3];
    return bytes;
  }

 private:
  std::mt19937& random_;
  bool provable_;
};

Text textOf(const std::string& bytes) {
  Text text;
  *text.inout() = SysAllocStringByteLen(bytes.data(), static_cast<UINT>(bytes.size()));
  return text;
}

// Keys of any kind are sought, but perhaps only provable ones entered.
void fuzz(LONG mode, bool provable, std::mt19937 random) {
  const auto heap = PrivateHeap::create(0);
  KeyIndex index;
  index.CompareMode(mode);
  ASSERT_TRUE(index.open(*heap.get()));
  PlainChains oracle(mode);
  Keys anyKey(random, false), provableKey(random, true);
  std::deque<Item> records;
  std::vector<ItemRecord*> keyed;
  for (int step = 0; step < 8'000; ++step) {
    const auto action = random() % 4;
    const std::string bytes = provable && action < 2 ? provableKey() : anyKey();
    const Text key = textOf(bytes);
    ItemRecord* const expected = oracle.find(bytes);
    ASSERT_EQ(expected, index.pvGetItemByKey(key.get())) << "step " << step;
    switch (action) {
      case 0:
      case 1:
        ASSERT_EQ(expected, index.pvGetItemByKey(key.get(), &records.emplace_back().node));
        if (expected) break;
        oracle.enter(bytes, &records.back());
        keyed.push_back(&records.back());
        break;
      case 2:
        ASSERT_EQ(expected, index.take(key.get()));
        if (!expected) break;
        oracle.remove(expected);
        std::erase(keyed, expected);
        break;
      default: {
        if (keyed.empty()) break;
        ItemRecord* const record = keyed[random() % keyed.size()];
        if (random() % 2) index.unlink(record->key);
        index.pvRemoveKey(record->key);
        oracle.remove(record);
        std::erase(keyed, record);
      }
    }
  }
}

TEST(KeyIndex, FindsWhatAWalkOfTheChainsFinds) {
  const auto given = static_cast<unsigned>(GTEST_FLAG_GET(random_seed));
  const unsigned seed = given ? given : 20'260'101;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  for (const LONG mode : {CompareBinary, CompareText}) {
    for (const bool provable : {false, true}) fuzz(mode, provable, std::mt19937(seed));
  }
}

constexpr SIZE_T kLargestBlock = 16'384;
SIZE_T memoryLeft = 0;
void* realHeapAlloc = nullptr;

LPVOID WINAPI scarceHeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes) {
  if (bytes > kLargestBlock || bytes > memoryLeft) return nullptr;
  memoryLeft -= bytes;
  return reinterpret_cast<decltype(HeapAlloc)*>(realHeapAlloc)(heap, flags, bytes);
}

// The shortcut stops growing long before memory ends.
TEST(KeyIndex, KeepsWhatItHasWhenMemoryEnds) {
  const auto heap = PrivateHeap::create(0);
  KeyIndex index;
  std::deque<Item> records(3'000);
  const auto key = [](size_t i) { return Text(L"key " + std::to_wstring(i)); };
  memoryLeft = 90'000;
  void** const import = importOf(GetModuleHandleW(nullptr), "HeapAlloc");
  realHeapAlloc = exchangeImport(import, reinterpret_cast<void*>(scarceHeapAlloc));
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
  EXPECT_EQ(nullptr, index.pvGetItemByKey(key(count).get()));
  memoryLeft = 0;
  for (size_t i = 0; i < count; i += 3) EXPECT_EQ(&records[i], index.take(key(i).get()));
  for (size_t i = 0; i < count; ++i) {
    EXPECT_EQ(i % 3 ? &records[i] : nullptr, index.pvGetItemByKey(key(i).get()));
  }
  exchangeImport(import, realHeapAlloc);
}

extern "C" void* hashImport __asm__("__imp__LHashValOfNameSys@12");

ULONG WINAPI hashWithoutMemory(SYSKIND, LCID, const OLECHAR*) { return 0; }

TEST(KeyIndex, EntersNoKeyWithoutItsChain) {
  const auto heap = PrivateHeap::create(0);
  KeyIndex index;
  Item item;
  const Text key(L"caf\u00e9");
  ASSERT_TRUE(index.open(*heap.get()));
  void* const real = exchangeImport(&hashImport, reinterpret_cast<void*>(hashWithoutMemory));
  EXPECT_THROW(index.pvGetItemByKey(key.get(), &item.node), Error);
  exchangeImport(&hashImport, real);
  EXPECT_EQ(nullptr, index.pvGetItemByKey(key.get(), &item.node));
  exchangeImport(&hashImport, reinterpret_cast<void*>(hashWithoutMemory));
  EXPECT_EQ(&item, index.take(key.get()));
  exchangeImport(&hashImport, real);
}

}  // namespace
