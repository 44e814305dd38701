// Items in order, keys, errors: the collection as its callers see it, without its events.
#include "support/test_client.h"
#include "support/value_object.h"

namespace {

class Collection : public CollectionTest {
 protected:
  ComPtr<TestSource> added(const std::wstring& key) { return CollectionTest::added({}, {key}); }
  void fill(std::initializer_list<const wchar_t*> keys) {
    EXPECT_EQ(S_OK, z->Clear());
    for (const auto* key : keys) added(key);
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
};

TEST_F(Collection, KeepsASixteenthOfAWrittenIncrement) {
  const std::tuple<LONG, LONG> cases[] = {{1600, 100},   {63, 4}, {0, 4},  {-1, 4},
                                          {LONG_MIN, 4}, {64, 4}, {80, 5}, {79, 4}};
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
  VARIANT aLong = longValue(2);
  const auto twoObject = ValueObject::of(aLong), endless = ValueObject::endless();
  const VARIANT none = missing(), keyA = textValue(a), keyC = textValue(c),
                nobody = textValue(unknown);
  const VARIANT zero = longValue(0), first = longValue(1), last = longValue(3);
  const struct {
    const char* what;
    VARIANT before, after;
    std::wstring expected;  // of abc and a new x
    LONG error = 0;
  } cases[] = {
      {"append", none, none, L"abcx"},
      {"before first", first, none, L"xabc"},
      {"before last", last, none, L"abxc"},
      {"before behind the last", longValue(4), none, L"abc", 5},
      {"before nothing", zero, none, L"abc", 5},
      {"before, rounded after taking 1", doubleValue(1.5), none, L"xabc"},
      {"before, half to even", doubleValue(2.5), none, L"abxc"},
      {"before a number in text", textValue(two), none, L"axbc"},
      {"before by reference", reference(VT_VARIANT, &aLong), none, L"axbc"},
      {"before a key", keyC, none, L"abxc"},
      {"before the first key", keyA, none, L"xabc"},
      {"before an unknown key", nobody, none, L"abc", 5},
      {"before Empty, a number", valueOfType(VT_EMPTY), none, L"abc", 5},
      {"before Null", valueOfType(VT_NULL), none, L"abc", 13},
      {"before nobody", valueOfType(VT_DISPATCH), none, L"abc", 13},
      {"before the least Integer", makeValue(VT_I2, SHRT_MIN), none, L"abc", 5},
      {"before the least Long", longValue(LONG_MIN), none, L"abc", 6},
      {"before an object's value", objectValue(twoObject.get()), none, L"axbc"},
      {"before an object that is its value", objectValue(endless.get()), none, L"abc", 13},
      {"before too much", doubleValue(1e10), none, L"abc", 6},
      {"before too little", doubleValue(-1e300), none, L"abc", 6},
      {"after nothing", none, zero, L"xabc"},
      {"after first", none, first, L"axbc"},
      {"after last is refused", none, last, L"abc", 5},
      {"after a key", none, keyA, L"axbc"},
      {"after the last key", none, keyC, L"abcx"},
      {"after an unknown key", none, nobody, L"abc", 5},
      {"after is ignored beside before", first, nobody, L"xabc"},
  };
  for (const auto& [what, before, after, expected, error] : cases) {
    SCOPED_TRACE(what);
    fill({L"a", L"b", L"c"});
    const auto item = TestSource::make();
    EXPECT_EQ(error ? runtimeError(error) : S_OK, add(z.get(), item.get(), {L"x", before, after}));
    EXPECT_EQ(expected, order());
    EXPECT_EQ(!error, keyExists(z.get(), L"x"));
    EXPECT_EQ(error ? 1u : 2u, item->references);
  }
  for (const VARTYPE type : kNumericTypes) {
    if (type == VT_DATE || type == VT_BOOL) continue;  // no number, and no 2
    SCOPED_TRACE(type);
    const VARIANT number = numberOf(type, 2);
    fill({L"a", L"b", L"c"});
    EXPECT_EQ(S_OK, add(z.get(), TestSource::make().get(), {L"x", number}));
    EXPECT_EQ(S_OK, add(z.get(), TestSource::make().get(), {L"y", none, number}));
    EXPECT_EQ(L"axybc", order());
  }
  EXPECT_EQ(1, twoObject->reads);
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
  const std::tuple<VARIANT, std::wstring> cases[] = {
      {longValue(1), L"bcd"},
      {doubleValue(2.5), L"acd"},
      {doubleValue(3.5), L"abc"},
      {textValue(b), L"acd"},
      {valueOfType(VT_BOOL), L"abcd"},
      {valueOfType(VT_DATE), L"abcd"},
      {valueOfType(VT_CY), L"abcd"},
      {valueOfType(VT_EMPTY), L"abcd"},
      {valueOfType(VT_NULL), L"abcd"},
      {valueOfType(VT_DISPATCH), L"abcd"},
      {reference(VT_VARIANT, &twoByReference), L"acd"},
  };
  for (const auto& [key, left] : cases) {
    fill({L"a", L"b", L"c", L"d"});
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
  const std::tuple<VARIANT, IDispatch*, LONG, VARIANT_BOOL> cases[] = {
      {longValue(1), a.get(), 0, VARIANT_TRUE},
      {doubleValue(1.5), b.get(), 0, VARIANT_TRUE},
      {doubleValue(2.5), b.get(), 0, VARIANT_TRUE},
      {textValue(keyB), b.get(), 0, VARIANT_TRUE},
      {longValue(0), nullptr, 381, VARIANT_FALSE},
      {longValue(3), nullptr, 381, VARIANT_FALSE},
      {textValue(unknown), nullptr, 381, VARIANT_FALSE},
      {valueOfType(VT_BOOL), nullptr, 5, VARIANT_FALSE},
      {valueOfType(VT_DATE), nullptr, 5, VARIANT_FALSE},
      {valueOfType(VT_NULL), nullptr, 5, VARIANT_FALSE},
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

TEST_F(Collection, RefusesNullPointers) {
  added(L"a");
  Text text;
  VARIANT none = missing();
  const auto item = TestSource::make();
  ComPtr<IDispatch> found;
  for (const HRESULT result :
       {z->get_Count(nullptr), z->ItemByKey(nullptr, found.put()), z->get_Key(1, nullptr),
        z->get_Item(longValue(1), nullptr), z->Add(item.get(), nullptr, text.inout(), &none, &none),
        z->Add(item.get(), text.inout(), text.inout(), &none, nullptr)}) {
    EXPECT_EQ(E_POINTER, result);
  }
  EXPECT_EQ(S_OK, z->put_Key(1, nullptr));
  EXPECT_FALSE(keyExists(z.get(), L"a")) << "taken away, and none put";
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
    onFreshThread([] {
      EXPECT_EQ(S_OK, newCollection()->Remove(doubleValue(1e300))) << "each thread for itself";
    });
  });
}

}  // namespace
