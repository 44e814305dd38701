// Items in order, keys, errors: the collection as its callers see it, without its events.
#include "support/com.h"
#include "support/test_client.h"
#include "support/test_source.h"

namespace {

class Collection : public testing::Test {
 protected:
  // A new item, added under a key.
  ComPtr<TestSource> added(std::wstring key, VARIANT before = missing(), VARIANT after = missing()) {
    auto item = TestSource::make();
    EXPECT_EQ(S_OK, add(z.get(), item.get(), {key, before, after}));
    return item;
  }
  // The keys in the order of the positions.
  std::wstring order() {
    std::wstring keys;
    for (LONG i = 1; i <= countOf(z.get()); ++i) {
      Text key;
      EXPECT_EQ(S_OK, z->get_Key(i, key.inout()));
      keys += key.view();
    }
    return keys;
  }
  LONG indexOf(std::wstring_view key) {
    LONG index = 0;
    EXPECT_EQ(S_OK, z->IndexFromKey(Text(key).get(), &index));
    return index;
  }

  ComPtr<_Zollection> z = newCollection();
};

TEST_F(Collection, KeepsASixteenthOfAWrittenIncrement) {
  const struct {
    LONG written, read;
  } cases[] = {{1600, 100}, {63, 4}, {0, 4}, {-1, 4}, {LONG_MIN, 4}, {64, 4}, {80, 5}, {79, 4}};
  LONG increment = 0;
  EXPECT_EQ(S_OK, z->get_Increment(&increment));
  EXPECT_EQ(4000, increment) << "at first";
  for (const auto& [written, read] : cases) {
    EXPECT_EQ(S_OK, z->put_Increment(written));
    EXPECT_EQ(S_OK, z->get_Increment(&increment));
    EXPECT_EQ(read, increment) << "after writing " << written;
  }
}

TEST_F(Collection, PutsItemsWhereBeforeAndAfterSay) {
  const Text a(L"a"), c(L"c"), unknown(L"unknown"), two(L"2");
  const VARIANT none = missing();
  VARIANT beforeByReference = longValue(2);
  const struct {
    const char* what;
    VARIANT before, after;
    std::wstring expected;  // of abc and a new x; empty: error 5
  } cases[] = {
      {"append", none, none, L"abcx"},
      {"before first", longValue(1), none, L"xabc"},
      {"before last", longValue(3), none, L"abxc"},
      {"before behind the last", longValue(4), none, L""},
      {"before nothing", longValue(0), none, L""},
      {"before, rounded after taking 1", doubleValue(1.5), none, L"xabc"},
      {"before, half to even", doubleValue(2.5), none, L"abxc"},
      {"before a number in text", textValue(two), none, L"axbc"},
      {"before by reference", reference(VT_VARIANT, &beforeByReference), none, L"axbc"},
      {"before a key", textValue(c), none, L"abxc"},
      {"before the first key", textValue(a), none, L"xabc"},
      {"before an unknown key", textValue(unknown), none, L""},
      {"before Empty, a number", valueOfType(VT_EMPTY), none, L""},
      {"after nothing", none, longValue(0), L"xabc"},
      {"after first", none, longValue(1), L"axbc"},
      {"after last is refused", none, longValue(3), L""},
      {"after a key", none, textValue(a), L"axbc"},
      {"after the last key", none, textValue(c), L"abcx"},
      {"after an unknown key", none, textValue(unknown), L""},
      {"after is ignored beside before", longValue(1), textValue(unknown), L"xabc"},
  };
  for (const auto& [what, before, after, expected] : cases) {
    SCOPED_TRACE(what);
    ASSERT_EQ(S_OK, z->Clear());
    for (const auto* key : {L"a", L"b", L"c"}) added(key);
    const auto item = TestSource::make();
    const HRESULT result = add(z.get(), item.get(), {L"x", before, after});
    EXPECT_EQ(expected.empty() ? runtimeError(5) : S_OK, result);
    EXPECT_EQ(expected.empty() ? L"abc" : expected, order());
    EXPECT_EQ(expected.empty() ? 1u : 2u, item->references);
  }
}

TEST_F(Collection, RefusesPlacesThatAreNoPlaces) {
  added(L"a");
  const auto item = TestSource::make();
  const struct {
    VARIANT before;
    HRESULT result;
  } cases[] = {{doubleValue(1e10), runtimeError(6)},
               {doubleValue(-1e300), runtimeError(6)},
               {valueOfType(VT_NULL), runtimeError(13)},
               {valueOfType(VT_DISPATCH), runtimeError(13)}};
  for (const auto& [before, result] : cases) {
    EXPECT_EQ(result, add(z.get(), item.get(), {L"b", before})) << V_VT(&before);
    EXPECT_EQ(L"a", order());
    EXPECT_FALSE(keyExists(z.get(), L"b"));
  }
}

TEST_F(Collection, ComparesKeysByItsMode) {
  added(L"ABC");
  added(L"abc");  // another key, in the same chain
  EXPECT_EQ(1, indexOf(L"ABC"));
  EXPECT_EQ(2, indexOf(L"abc"));
  EXPECT_EQ(-1, indexOf(L"Abc"));

  ASSERT_EQ(S_OK, z->Clear());
  ASSERT_EQ(S_OK, z->put_CompareMode(CompareText));
  added(L"ABC");
  EXPECT_EQ(L"abc", order()) << "stored in lower case";
  EXPECT_TRUE(keyExists(z.get(), L"aBc"));
  EXPECT_EQ(runtimeError(457), add(z.get(), TestSource::make().get(), {L"Abc"}));
  EXPECT_EQ(S_OK, z->RemoveByKey(Text(L"aBC").get()));
  EXPECT_FALSE(keyExists(z.get(), L"abc"));

  ASSERT_EQ(S_OK, z->put_CompareMode(7));
  added(L"Q");
  EXPECT_FALSE(keyExists(z.get(), L"q")) << "any other mode compares as binary";
  LONG mode;
  ASSERT_EQ(S_OK, z->Clear());
  EXPECT_EQ(S_OK, z->get_CompareMode(&mode));
  EXPECT_EQ(7, mode) << "kept as written, and through Clear";
}

TEST_F(Collection, FindsKeysThatShareAChain) {
  // Accents and case fold into one hash; the middle of the chain is taken out and put back.
  for (const auto* key : {L"cafe", L"caf\u00e9", L"CAFE", L"CAF\u00c9"}) added(key);
  EXPECT_EQ(S_OK, z->RemoveByKey(Text(L"caf\u00e9").get()));
  EXPECT_EQ(S_OK, z->RemoveByIndex(2));
  EXPECT_EQ(2, indexOf(L"CAF\u00c9"));
  EXPECT_EQ(-1, indexOf(L"caf\u00e9"));
  EXPECT_EQ(-1, indexOf(L"CAFE"));
  added(L"caf\u00e9");
  EXPECT_EQ(3, indexOf(L"caf\u00e9"));
  EXPECT_EQ(S_OK, z->RemoveByKey(Text(L"cafe").get())) << "the head of the chain";
  EXPECT_EQ(2, indexOf(L"caf\u00e9"));
}

TEST_F(Collection, RemovesByWhatTheKeyIs) {
  const Text b(L"b");
  VARIANT twoByReference = longValue(2);
  const struct {
    VARIANT key;
    std::wstring left;
  } cases[] = {
      {longValue(1), L"bcd"},
      {doubleValue(2.5), L"acd"},
      {doubleValue(3.5), L"abc"},
      {reference(VT_VARIANT, &twoByReference), L"acd"},
      {textValue(b), L"acd"},
      {valueOfType(VT_BOOL), L"abcd"},
      {valueOfType(VT_DATE), L"abcd"},
      {valueOfType(VT_CY), L"abcd"},
      {valueOfType(VT_EMPTY), L"abcd"},
      {valueOfType(VT_NULL), L"abcd"},
      {valueOfType(VT_DISPATCH), L"abcd"},
  };
  for (const auto& [key, left] : cases) {
    ASSERT_EQ(S_OK, z->Clear());
    for (const auto* each : {L"a", L"b", L"c", L"d"}) added(each);
    EXPECT_EQ(S_OK, z->Remove(key));
    EXPECT_EQ(left, order()) << "type " << V_VT(&key);
  }
}

TEST_F(Collection, KeepsOrderThroughGrowthAndShrinking) {
  ASSERT_EQ(S_OK, z->put_Increment(64));
  std::vector<ComPtr<TestSource>> items;
  for (int i = 0; i < 3000; ++i) items.push_back(added(std::to_wstring(i)));
  for (LONG i = 2500; i > 500; --i) ASSERT_EQ(S_OK, z->RemoveByIndex(i));
  ASSERT_EQ(1000, countOf(z.get()));
  for (LONG i = 1; i <= 1000; ++i) {
    const size_t expected = static_cast<size_t>(i <= 500 ? i - 1 : i + 1999);
    ASSERT_EQ(itemAt(z.get(), i).get(), static_cast<IDispatch*>(items[expected].get())) << i;
  }
  EXPECT_EQ(501, indexOf(L"2500"));
}

TEST_F(Collection, GivesItemsByPositionAndKey) {
  const auto a = added(L"a");
  const auto b = added(L"b");
  const Text keyB(L"b"), unknown(L"x");
  const struct {
    VARIANT key;
    IDispatch* found;
    LONG error;
    VARIANT_BOOL exists;
  } cases[] = {
      {longValue(1), a.get(), 0, VARIANT_TRUE},          {doubleValue(1.5), b.get(), 0, VARIANT_TRUE},
      {doubleValue(2.5), b.get(), 0, VARIANT_TRUE},      {textValue(keyB), b.get(), 0, VARIANT_TRUE},
      {longValue(0), nullptr, 381, VARIANT_FALSE},       {longValue(3), nullptr, 381, VARIANT_FALSE},
      {textValue(unknown), nullptr, 381, VARIANT_FALSE}, {valueOfType(VT_BOOL), nullptr, 5, VARIANT_FALSE},
      {valueOfType(VT_DATE), nullptr, 5, VARIANT_FALSE}, {valueOfType(VT_NULL), nullptr, 5, VARIANT_FALSE},
  };
  for (const auto& [key, found, error, exists] : cases) {
    ComPtr<IDispatch> item;
    VARIANT_BOOL answered = 0x55;
    EXPECT_EQ(error ? runtimeError(error) : S_OK, z->get_Item(key, item.put())) << V_VT(&key);
    EXPECT_EQ(found, item.get());
    EXPECT_EQ(S_OK, z->get_Exists(key, &answered));
    EXPECT_EQ(exists, answered) << V_VT(&key);
  }
  VARIANT_BOOL exists;
  EXPECT_EQ(runtimeError(6), z->get_Exists(doubleValue(1e300), &exists));
}

TEST_F(Collection, TakesTheOldKeyAwayWhenAKeyIsPut) {
  added(L"old");
  added(L"other");
  EXPECT_EQ(runtimeError(457), z->put_Key(1, Text(L"other").get()));
  EXPECT_TRUE(keyExists(z.get(), L"old"));
  EXPECT_EQ(S_OK, z->put_Key(1, Text(L"fresh").get()));
  EXPECT_FALSE(keyExists(z.get(), L"old"));
  EXPECT_FALSE(keyExists(z.get(), L"fresh"));
  EXPECT_EQ(S_OK, z->put_Key(1, nullptr)) << "an item without a key: nothing to take away";
  EXPECT_EQ(2, indexOf(L"other"));
  EXPECT_EQ(S_OK, z->RemoveByIndex(1));
}

TEST_F(Collection, RefusesNullPointers) {
  added(L"a");
  Text text;
  VARIANT none = missing();
  const auto item = TestSource::make();
  ComPtr<IDispatch> found;
  EXPECT_EQ(E_POINTER, z->get_Count(nullptr));
  EXPECT_EQ(E_POINTER, z->get_CompareMode(nullptr));
  EXPECT_EQ(E_POINTER, z->get_Increment(nullptr));
  EXPECT_EQ(E_POINTER, z->get_UseDISPID(nullptr));
  EXPECT_EQ(E_POINTER, z->Add(item.get(), nullptr, text.inout(), &none, &none));
  EXPECT_EQ(E_POINTER, z->Add(item.get(), text.inout(), nullptr, &none, &none));
  EXPECT_EQ(E_POINTER, z->Add(item.get(), text.inout(), text.inout(), nullptr, &none));
  EXPECT_EQ(E_POINTER, z->Add(item.get(), text.inout(), text.inout(), &none, nullptr));
  EXPECT_EQ(E_POINTER, z->ItemByKey(nullptr, found.put()));
  EXPECT_EQ(E_POINTER, z->get_Item(longValue(1), nullptr));
  EXPECT_EQ(E_POINTER, z->get_Key(1, nullptr));
  EXPECT_EQ(S_OK, z->RaiseTheEvent(12345, 1, 0)) << "no record of ours: nothing happens";
  EXPECT_EQ(1, countOf(z.get()));
  EXPECT_EQ(1u, item->references);
}

TEST(CollectionOnAFreshThread, RecordsErrorsWithoutRaisingThemUntilItRaisedOneItself) {
  onFreshThread([] {
    const auto z = newCollection();
    const Text unknown(L"unknown");
    // The member's error passes through a frame that does not raise yet.
    EXPECT_EQ(S_OK, z->Remove(textValue(unknown)));
    EXPECT_EQ(runtimeError(5), z->RemoveByKey(unknown.get()));
    EXPECT_EQ(S_OK, z->Remove(doubleValue(1e300)));
    // An error of its own: from now on, all are raised.
    EXPECT_EQ(runtimeError(381), z->RemoveByIndex(0));
    EXPECT_EQ(runtimeError(5), z->Remove(textValue(unknown)));
    EXPECT_EQ(runtimeError(6), z->Remove(doubleValue(1e300)));
    onFreshThread([] { EXPECT_EQ(S_OK, newCollection()->Remove(doubleValue(1e300))) << "each thread for itself"; });
  });
}

}  // namespace
