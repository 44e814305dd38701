// What callers and items do at the worst moment, and who still holds what afterwards.
#include <windows.h>
#include <olectl.h>

#include <algorithm>

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

  LONG aliveBefore_ = TestSource::alive;
};

TEST_F(Lifetime, AnItemMayFireWhileItIsBeingConnected) {
  TestClient client(z.get());
  const auto item = TestSource::make();
  item->behaviour.onAdvise = [&] { item->fire(1); };
  EXPECT_EQ(S_OK, add(z.get(), item.get()));
  ASSERT_EQ(1u, client.heard.size());
  EXPECT_EQ(-1, client.heard[0].index) << "not in its place yet";
  EXPECT_EQ(nullptr, client.heard[0].source);
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
  EXPECT_EQ(S_OK, z->Clear());
  EXPECT_EQ(S_OK, corner->Clear());
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

}  // namespace
