// Items in order, keys, errors: the collection as its callers see it, without its events.
#include "support/test_client.h"
#include "support/value_object.h"

namespace {

class Collection : public CollectionTest {
 protected:
  void fill() {
    EXPECT_EQ(S_OK, z->Clear());
    for (const auto* key : {L"a", L"b", L"c", L"d"}) added({}, {key});
  }
  // The number of the error, or the keys in the order of the positions.
  std::wstring outcome(HRESULT result) {
    if (result != S_OK) return std::to_wstring(result & 0xFFFF);
    std::wstring keys;
    for (LONG i = 1; i <= countOf(z.get()); ++i) {
      Text key;
      EXPECT_EQ(S_OK, z->get_Key(i, key.inout()));
      keys += key.view();
    }
    return keys;
  }
  std::wstring adding(Placement place) {
    fill();
    place.key = L"x";
    return outcome(add(z.get(), TestSource::make().get(), place));
  }
};

// What an odd value means as a place, as what is to be removed, and as what is asked for.
TEST_F(Collection, TakesNumbersAsPositionsAndTextsAsKeys) {
  const Text b(L"b"), two(L"2"), unknown(L"unknown");
  VARIANT aLong = longValue(2);
  const auto twoObject = ValueObject::of(aLong), endless = ValueObject::endless();
  const struct {
    VARIANT value;
    std::wstring before, after, removed;  // of abcd, and a new x; or the error
    std::wstring item = L"5";
  } cases[] = {
      {missing(), L"abcdx", L"abcdx", L"abcd"},
      {doubleValue(1.5), L"xabcd", L"abxcd", L"acd", L"b"},  // rounded after 1 is taken
      {doubleValue(2.5), L"abxcd", L"abxcd", L"acd", L"b"},
      {doubleValue(1e10), L"6", L"6", L"6", L"6"},
      {reference(VT_VARIANT, &aLong), L"axbcd", L"abxcd", L"acd", L"b"},
      {textValue(b), L"axbcd", L"abxcd", L"acd", L"b"},
      {textValue(two), L"axbcd", L"abxcd", L"5", L"381"},  // a number, as a place
      {textValue(unknown), L"5", L"5", L"5", L"381"},
      {valueOfType(VT_BOOL), L"5", L"xabcd", L"abcd"},
      {valueOfType(VT_DATE), L"5", L"5", L"abcd"},
      {valueOfType(VT_EMPTY), L"5", L"xabcd", L"abcd"},
      {valueOfType(VT_NULL), L"13", L"13", L"abcd"},
      {objectValue(twoObject.get()), L"axbcd", L"abxcd", L"abcd"},
      {objectValue(endless.get()), L"13", L"13", L"abcd"},  // it is its own value
      {makeValue(VT_I2, SHRT_MIN), L"5", L"5", L"381", L"381"},
      {longValue(LONG_MIN), L"6", L"5", L"381", L"381"},
  };
  for (const auto& [value, before, after, removed, asked] : cases) {
    SCOPED_TRACE("type " + std::to_string(V_VT(&value)));
    EXPECT_EQ(before, adding({.before = value}));
    EXPECT_EQ(after, adding({.after = value}));
    fill();
    ComPtr<IDispatch> item;
    VARIANT_BOOL exists = VARIANT_FALSE;
    const HRESULT found = z->get_Item(value, item.put()), tested = z->get_Exists(value, &exists);
    const size_t position = std::wstring_view(L"abcd").find(asked);
    EXPECT_EQ(position < 4 ? L"abcd" : asked, outcome(found));
    EXPECT_TRUE(position > 3 ||
                itemAt(z.get(), static_cast<LONG>(position) + 1).get() == item.get());
    EXPECT_EQ(found == runtimeError(6) ? found : S_OK, tested);
    EXPECT_EQ(found == S_OK, exists == VARIANT_TRUE);
    EXPECT_EQ(removed, outcome(z->Remove(value)));
  }
  EXPECT_EQ(L"xabcd", adding({.before = longValue(1), .after = textValue(unknown)}));
  for (const VARTYPE type : kNumericTypes) {
    if (type == VT_DATE || type == VT_BOOL) continue;  // no number, and no 2
    EXPECT_EQ(L"axbcd", adding({.before = numberOf(type, 2)})) << type;
    EXPECT_EQ(L"abxcd", adding({.after = numberOf(type, 2)})) << type;
  }
}

TEST_F(Collection, GrowsAgainBySmallerStepsAfterAFailedGrowth) {
  const auto item = TestSource::make();
  const Placement unconnected = {.sourceIID = kNoEvents};
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(S_OK, add(z.get(), item.get(), unconnected));
  EXPECT_EQ(S_OK, z->put_Increment(LONG_MAX));
  std::vector<void*> taken;  // so that a step of 128 MB has no room
  const auto take = [] { return VirtualAlloc(nullptr, 64 << 20, MEM_RESERVE, PAGE_NOACCESS); };
  while (void* const block = take()) taken.push_back(block);
  EXPECT_EQ(runtimeError(7), add(z.get(), item.get(), unconnected));
  EXPECT_EQ(S_OK, z->put_Increment(1600));
  EXPECT_EQ(S_OK, add(z.get(), item.get(), unconnected));
  for (void* const block : taken) VirtualFree(block, 0, MEM_RELEASE);
}

TEST_F(Collection, RefusesNullPointers) {
  const auto item = added({}, {L"a"});
  Text text;
  VARIANT none = missing();
  ComPtr<IDispatch> found;
  for (const HRESULT result :
       {z->get_Count(nullptr), z->ItemByKey(nullptr, found.put()), z->get_Key(1, nullptr),
        z->get_Item(longValue(1), nullptr), z->Add(item.get(), nullptr, text.inout(), &none, &none),
        z->Add(item.get(), text.inout(), text.inout(), &none, nullptr)}) {
    EXPECT_EQ(E_POINTER, result);
  }
  EXPECT_EQ(S_OK, z->put_Key(1, nullptr));
  EXPECT_FALSE(keyExists(z.get(), L"a")) << "taken away, and none put";
  EXPECT_EQ(1, countOf(z.get()));
}

TEST(CollectionOnAFreshThread, RecordsErrorsWithoutRaisingThemUntilItRaisedOneItself) {
  onFreshThread([] {
    const auto z = newCollection();
    const Text unknown(L"unknown");
    const VARIANT key = textValue(unknown);
    // The member's error passes through a frame that does not raise yet.
    EXPECT_EQ(S_OK, z->Remove(key));
    EXPECT_EQ(runtimeError(5), z->RemoveByKey(unknown.get()));
    // An error of its own: from now on, all are raised.
    EXPECT_EQ(runtimeError(381), z->RemoveByIndex(0));
    EXPECT_EQ(runtimeError(5), z->Remove(key));
  });
}

}  // namespace
