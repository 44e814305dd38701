// What callers and items do at the worst moment, and who still holds what afterwards.
#include <windows.h>
#include <olectl.h>

#include <algorithm>
#include <string>

#include "support/test_client.h"

namespace {

class Lifetime : public CollectionTest {
 protected:
  // An error of the collection's own: from here on, this thread's errors are raised.
  Lifetime() { EXPECT_EQ(runtimeError(381), z->RemoveByIndex(0)); }
  ~Lifetime() override {
    z.reset();
    EXPECT_EQ(aliveBefore_, TestSource::alive) << "an item was leaked";
  }

  void clearAll() { EXPECT_EQ(S_OK, z->Clear()); }

  LONG aliveBefore_ = TestSource::alive;
};

TEST_F(Lifetime, ItemsAndSinksAreGivenBackOnEveryWayOut) {
  const std::function<void()> ways[] = {[&] { z->RemoveByIndex(1); },
                                        [&] { z->RemoveByKey(Text(L"k").get()); },
                                        [&] { clearAll(); }, [&] { z = newCollection(); }};
  for (const auto& leave : ways) {
    const auto item = added({.keepsSink = true}, {.key = L"k"});
    EXPECT_EQ(2u, item->references);
    leave();
    EXPECT_EQ(1u, item->references);
    const ComPtr<IDispatch> kept = item->sinks.at(0);
    TestClient client(z.get());
    item->fire(1);  // long after Unadvise
    EXPECT_TRUE(client.heard.empty());
    item->sinks.clear();
    EXPECT_EQ(2u, kept->AddRef()) << "the collection kept the sink";
    kept->Release();
  }
}

TEST_F(Lifetime, AFailedInsertionListsARecordTwiceAndPushesTheLastBeyondCount) {
  const auto a = added({}, {.key = L"a"}), b = added({}, {.key = L"b"}),
             c = added({}, {.key = L"c"});
  const auto duplicate = TestSource::make({.keepsSink = true});
  EXPECT_EQ(runtimeError(457),
            add(z.get(), duplicate.get(), {.key = L"a", .before = longValue(2)}));
  ASSERT_EQ(3, countOf(z.get()));
  const TestSource* const listed[] = {a.get(), b.get(), b.get()};
  for (LONG i = 0; i < 3; ++i) EXPECT_EQ(listed[i], itemAt(z.get(), i + 1).get());
  TestClient client(z.get());
  duplicate->fire(1);
  EXPECT_TRUE(client.heard.empty()) << "still connected, but of no item";
  c->fire(1);
  ASSERT_EQ(1u, client.heard.size());
  EXPECT_EQ(-1, client.heard[0].index) << "alive, but not listed";

  EXPECT_EQ(S_OK, z->RemoveByIndex(2));
  b->fire(1);
  EXPECT_EQ(2, client.heard.back().index) << "lives for its other listing";
  EXPECT_EQ(S_OK, z->RemoveByIndex(2));
  EXPECT_EQ(1u, b->references);
  // New items take the place beyond Count; what was there is not forgotten.
  const auto d = added();
  EXPECT_EQ(2u, c->references);
  EXPECT_TRUE(keyExists(z.get(), L"c"));
  clearAll();
  EXPECT_EQ(1u, c->references);
  EXPECT_EQ(1u, duplicate->references);
}

TEST_F(Lifetime, AnItemMayFireWhileItIsBeingConnected) {
  TestClient client(z.get());
  const auto item = TestSource::make();
  item->behaviour.onAdvise = [&] { item->fire(1); };
  EXPECT_EQ(S_OK, add(z.get(), item.get()));
  ASSERT_EQ(1u, client.heard.size());
  EXPECT_EQ(-1, client.heard[0].index) << "not in its place yet";
  EXPECT_EQ(nullptr, client.heard[0].source);
}

// Every call back into the collection, from every moment at which it calls out.
TEST_F(Lifetime, HandlersMayChangeTheCollectionAtAnyMoment) {
  enum Moment { kAdvise, kUnadvise, kDestroy, kEvent, kConnectionFailed, kMoments };
  for (int moment = 0; moment < kMoments; ++moment) {
    for (int deed = 0; deed < 14; ++deed) {
      SCOPED_TRACE("moment " + std::to_string(moment) + ", deed " + std::to_string(deed));
      z = newCollection();
      TestClient client(z.get());
      const auto neighbours = {added({}, {.key = L"1"}), added({}, {.key = L"2"})};
      const bool withStrays = deed >= 7;
      for (int i = 0; withStrays && i < 2; ++i) {
        EXPECT_EQ(runtimeError(457),
                  add(z.get(), TestSource::make().get(), {.key = L"1", .before = longValue(1)}));
      }
      bool done = false;
      const auto strike = [&] {
        if (std::exchange(done, true)) return;
        switch (deed % 7) {
          case 0:
            return clearAll();
          case 1:
            return void(z->RemoveByIndex(1));
          case 2:
            return void(z->RemoveByIndex(countOf(z.get())));
          case 3:
            return void(z->RemoveByKey(Text(L"k").get()));
          case 4:
            return void(add(z.get(), TestSource::make().get(), {.before = longValue(1)}));
          case 5:
            return void(z->RemoveByKey(Text(L"2").get()));  // the last, pushed by a gap
          case 6:
            while (countOf(z.get()) > 0) ASSERT_EQ(S_OK, z->RemoveByIndex(1));
        }
      };
      Behaviour behaviour;
      if (moment == kAdvise) behaviour.onAdvise = strike;
      if (moment == kUnadvise) behaviour.onUnadvise = strike;
      if (moment == kDestroy) behaviour.onDestroy = strike;
      if (moment == kEvent) client.onEvent = [&](SAFEARRAY**) { strike(); };
      if (moment == kConnectionFailed) client.onConnectionFailed = [&](BSTR*, LONG) { strike(); };
      for (const VARIANT& before : {missing(), longValue(1)}) {
        done = false;
        auto item = TestSource::make(behaviour);
        const std::wstring iid =
            moment == kConnectionFailed ? L"{6C2E7E41-1C58-4B43-9D7D-0A3F2A5B7CFF}" : L"";
        const HRESULT result =
            add(z.get(), item.get(), {.key = L"k", .before = before, .sourceIID = iid});
        item->fire(1);
        item.reset();
        const bool byIndex = moment == kUnadvise && V_VT(&before) == VT_I4;
        if (SUCCEEDED(result)) byIndex ? z->RemoveByIndex(1) : z->RemoveByKey(Text(L"k").get());
        for (LONG i = 1; i <= countOf(z.get()); ++i) EXPECT_TRUE(itemAt(z.get(), i));
      }
      done = false;
      clearAll();
      for (const auto& neighbour : neighbours) EXPECT_EQ(1u, neighbour->references);
    }
  }
}

// Directly, twice, and round a corner: each event is heard once in each collection.
TEST_F(Lifetime, AnEventDoesNotComeRoundToACollectionAgain) {
  const auto corner = newCollection();
  TestClient client(z.get()), cornerClient(corner.get());
  const auto item = added();
  for (_Zollection* const contained : {z.get(), z.get(), corner.get()}) {
    ASSERT_EQ(S_OK, add(z.get(), contained));
  }
  ASSERT_EQ(S_OK, add(corner.get(), z.get()));
  item->fire(1);
  ASSERT_EQ(1u, client.heard.size());
  EXPECT_EQ(L"Fired", client.heard[0].name);
  ASSERT_EQ(1u, cornerClient.heard.size());
  EXPECT_EQ(L"EventRaised", cornerClient.heard[0].name);
  // A handler that fires begins a new way.
  client.onEvent = [&](SAFEARRAY**) {
    client.onEvent = {};
    item->fire(1);
  };
  item->fire(1);
  EXPECT_EQ(3u, client.heard.size());
  clearAll();
  corner->Clear();
}

TEST_F(Lifetime, AHandlerMayReleaseTheCollectionInMidEvent) {
  const auto item = added();
  {
    TestClient client(z.get());
    client.onEvent = [&](SAFEARRAY**) {
      client.disconnect();
      z.reset();
    };
    item->fire(1);
  }
  EXPECT_EQ(1u, item->references);
  EXPECT_FALSE(item->sinks.at(0)) << "withdrawn when the collection went";
}

TEST_F(Lifetime, AnItemThatCannotLetGoLeavesAllTheSame) {
  const auto item = added({.unadviseResult = E_FAIL}, {.key = L"k"});
  EXPECT_EQ(E_FAIL, z->RemoveByIndex(1));
  EXPECT_EQ(0, countOf(z.get()));
  EXPECT_FALSE(keyExists(z.get(), L"k"));
  EXPECT_EQ(1u, item->references);
  ASSERT_EQ(S_OK, add(z.get(), item.get()));
  EXPECT_EQ(E_FAIL, z->Clear());
  EXPECT_EQ(S_OK, add(z.get(), item.get())) << "usable again";
  item->behaviour.losesPoint = true;
  EXPECT_EQ(CONNECT_E_NOCONNECTION, z->RemoveByIndex(1));
  EXPECT_EQ(S_OK, add(z.get(), item.get()));
  z.reset();
  EXPECT_EQ(1u, item->references);
}

// Blocks in use on the process heap, from which also the global allocator takes; and the number of
// heaps.
std::pair<size_t, DWORD> heapUse() {
  size_t blocks = 0;
  for (PROCESS_HEAP_ENTRY entry{}; HeapWalk(GetProcessHeap(), &entry);) {
    if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) ++blocks;
  }
  HANDLE none[1];
  return {blocks, GetProcessHeaps(0, none)};
}

TEST_F(Lifetime, NothingStaysOnTheHeapsAfterManyLives) {
  z.reset();
  const auto life = [] {
    const auto collection = newCollection();
    TestClient client(collection.get());
    std::vector<ComPtr<TestSource>> items;
    for (int i = 0; i < 20; ++i) {
      items.push_back(
          TestSource::make({.described = i % 2 ? &__uuidof(_Plain) : nullptr, .enumerates = true}));
      add(collection.get(), items.back().get(), {.key = std::to_wstring(i)});
      add(collection.get(), items.back().get(), {.key = L"0", .before = longValue(1)});
      Text text(L"text");
      items.back()->fire(2, {longValue(1), reference(VT_BSTR, text.inout())});
    }
    collection->RemoveByIndex(3);
    collection->RemoveByKey(Text(L"7").get());
    collection->Clear();
    add(collection.get(), items[0].get(), {.key = L"last"});
  };
  // Caches of the platform fill up first.
  for (int i = 0; i < 3; ++i) life();
  const auto [blocks, heaps] = heapUse();
  for (int i = 0; i < 20; ++i) life();
  const auto [blocksAfter, heapsAfter] = heapUse();
  EXPECT_EQ(heaps, heapsAfter);
  EXPECT_LE(blocksAfter, blocks);
}

}  // namespace
