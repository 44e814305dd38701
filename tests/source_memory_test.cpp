// What is remembered of an item's class changes no outcome, and keeps nobody's module.
#include "support/test_client.h"

namespace {

class SourceMemory : public CollectionTest {
 protected:
  std::wstring nameAfter(TestSource* item, DISPID event) {
    client.heard.clear();
    item->fire(event);
    return client.heard.size() == 1 ? client.heard[0].name : L"(not heard once)";
  }
  // Whether a new item of that behaviour is heard.
  bool isHeard(Behaviour behaviour) {
    const auto item = added(std::move(behaviour));
    client.heard.clear();
    item->fire(1);
    EXPECT_EQ(S_OK, z->RemoveByIndex(countOf(z.get())));
    return !client.heard.empty();
  }
  // Those who hold the description of an interface.
  static ULONG holdersOf(const IID& id) {
    ComPtr<ITypeInfo> info;
    EXPECT_EQ(S_OK, TestSource::describe(&id, info.put()));
    info->AddRef();
    return info->Release();
  }
  TestClient client{z.get()};
};

TEST_F(SourceMemory, FollowsItemsThatChangeTheirMinds) {
  const auto item = added();
  EXPECT_EQ(L"Fired", nameAfter(item.get(), 1));
  item->behaviour.described = nullptr;
  EXPECT_EQ(L"1", nameAfter(item.get(), 1)) << "no type information any more";
  EXPECT_EQ(L"Click", nameAfter(item.get(), -600));
  item->behaviour.described = &__uuidof(_WithDual);
  EXPECT_EQ(L"Fired", nameAfter(item.get(), 1)) << "another interface of the same library";
  item->behaviour.described = &__uuidof(_Plain);
  EXPECT_EQ(L"Fired", nameAfter(item.get(), 1));
  EXPECT_EQ(L"5", nameAfter(item.get(), 5)) << "an event that has no name";
  for (DISPID event = 1000; event < 2000; ++event) nameAfter(item.get(), event);
  EXPECT_EQ(L"Values", nameAfter(item.get(), 2));

  const CLSID plain = __uuidof(Plain), noDefault = __uuidof(NoDefault);
  for (int round = 0; round < 2; ++round) {
    SCOPED_TRACE(round);
    EXPECT_TRUE(isHeard({.classInfo = &plain}));
    EXPECT_TRUE(isHeard({})) << "tells no class of its own any more";
    EXPECT_FALSE(isHeard({.described = &__uuidof(_Orphan)})) << "a class that is not listed";
    EXPECT_TRUE(isHeard({.described = &__uuidof(_Orphan), .classInfo = &plain}));
    EXPECT_TRUE(isHeard({.classInfo = &noDefault, .enumerates = true})) << "the first point";
    EXPECT_EQ(-2147221502, add(z.get(), TestSource::make({.classInfo = &noDefault}).get()));
    EXPECT_FALSE(isHeard({.events = IID_IEnumVARIANT})) << "a source without its point";
  }
}

TEST_F(SourceMemory, LetsGoWithTheCollection) {
  const ULONG before = holdersOf(__uuidof(_Plain));
  const auto item = added();
  EXPECT_EQ(L"Fired", nameAfter(item.get(), 1));
  // A handler that clears has its event's name to the end.
  client.onEvent = [&](SAFEARRAY**) {
    EXPECT_EQ(S_OK, z->Clear());
    EXPECT_EQ(L"Fired", client.heard.back().name);
  };
  item->fire(1);
  client.onEvent = {};
  EXPECT_EQ(before, holdersOf(__uuidof(_Plain)));
  EXPECT_TRUE(isHeard({}));
  client.disconnect();
  z.reset();
  EXPECT_EQ(before, holdersOf(__uuidof(_Plain)));
}

}  // namespace
