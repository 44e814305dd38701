// Everything that can be asked of a collection, after each of many random operations, against a
// model of it: those that a handler does in the midst of an event included.
#include <array>

#include "support/random_calls.h"

namespace {

HRESULT answerOf(LONG error) { return error > 0 ? runtimeError(error) : error; }

class Model : public RandomCalls {
 protected:
  Model() {
    for (int i = 0; i < 10; ++i) {
      items_.push_back(TestSource::make({.described = i % 3 ? &__uuidof(_Plain) : nullptr,
                                         .enumerates = i % 3 == 0,
                                         .keepsSink = i == 1,
                                         .adviseResult = i == 2 ? E_FAIL : S_OK}));
    }
  }

  void operate() override {
    const unsigned choice = below(100);
    if (choice < 34) {
      addOne();
    } else if (choice < 46) {
      const LONG position = anyPosition();
      EXPECT_EQ(answerOf(model_.removeAt(position)), removeSomehow(number(position)));
    } else if (choice < 58) {
      const std::wstring key = anyKey();
      EXPECT_EQ(answerOf(model_.removeKey(key)), removeSomehow(textValue(Text(key))));
    } else if (choice < 64) {
      putKey();
    } else if (choice < 69) {
      changeMode();
    } else if (choice < 70) {
      EXPECT_EQ(S_OK, z->Clear());
      model_.clear();
    } else {
      fireOne();
    }
    compare();
  }

  void addOne() {
    static const std::tuple<std::wstring, bool, LONG> kSources[] = {
        {L"", true, 0},
        {L"", true, 0},
        {kNoEvents, false, 0},
        {kUnknownSource, false, 0},  // and the client lets it in
        {kUnknownSource, false, wecErrSourceInterfaceNotFound},
    };
    const auto& [source, connects, failure] = kSources[below(std::size(kSources))];
    client->onConnectionFailed = [failure](BSTR* sourceIID, LONG) {
      if (!failure) SysReAllocString(sourceIID, kNoEvents);
    };
    TestSource* const item = anyItem();
    const std::wstring key = percent(80) ? anyKey() : L"";
    const Place place = {static_cast<Place::Side>(below(3)), anyPosition(),
                         percent(30) ? anyKey() : L""};
    const bool isConnected = connects && SUCCEEDED(item->behaviour.adviseResult);
    EXPECT_EQ(answerOf(model_.add({item, isConnected}, key, place, failure)),
              addSomehow(item, key, place, source));
  }

  void putKey() {
    const LONG position = anyPosition();
    const std::wstring key = percent(50) ? anyKey() : L"";
    EXPECT_EQ(answerOf(model_.putKey(position, key)), z->put_Key(position, Text(key).get()));
  }

  // And the other properties, which Clear keeps or sets back.
  void changeMode() {
    const LONG mode = std::array{0, 1, 7}[below(3)];
    const LONG written = (1 << below(14)) - 1;
    LONG increment = 0;
    EXPECT_EQ(S_OK, z->put_Increment(written));
    z->get_Increment(&increment);
    EXPECT_EQ(std::max(4L, written / 16), increment);
    EXPECT_EQ(S_OK, z->put_UseDISPID(flag(mode)));
    if (model_.count() != 0) {
      EXPECT_EQ(runtimeError(387), z->put_CompareMode(mode));
    } else {
      VARIANT_BOOL useDispid = 0;
      LONG kept = 0;
      EXPECT_EQ(S_OK, z->put_CompareMode(mode));
      EXPECT_EQ(S_OK, z->Clear());  // of items that are not listed
      model_.clear();
      model_.ignoresCase = mode == 1;
      z->get_UseDISPID(&useDispid);
      z->get_CompareMode(&kept);
      z->get_Increment(&increment);
      EXPECT_EQ(std::tuple(flag(mode), mode, 4000), std::tuple(useDispid, kept, increment));
    }
  }

  // Every record that holds the item and is connected hears, unless a handler has let it go.
  void fireOne() {
    TestSource* const item = anyItem();
    auto waiting = model_.recordsOf(item);
    const auto skip = [&] {
      while (!waiting.empty() && !(waiting[0]->alive && waiting[0]->connected)) {
        waiting.erase(waiting.begin());
      }
      return waiting.empty();
    };
    const auto outer = std::exchange(client->onEvent, [&](SAFEARRAY**) {
      ASSERT_FALSE(skip());
      const LONG position = model_.positionOf(waiting[0]);
      waiting.erase(waiting.begin());
      EXPECT_EQ(position == 0 ? -1 : position, client->heard.back().index);
      EXPECT_EQ(item, client->heard.back().source);
      if (percent(25)) operateWithin();
    });
    item->fire(1);
    client->onEvent = outer;
    client->heard.clear();
    EXPECT_TRUE(skip());
  }

  void compare() {
    ASSERT_EQ(model_.count(), countOf(z));
    ComPtr<IUnknown> made;
    EXPECT_EQ(S_OK, face->_NewEnum(made.put()));
    const auto each = ComPtr<IEnumVARIANT>::from(made.get());
    for (LONG i = 1; i <= model_.count(); ++i) {
      const auto& record = model_.listed[static_cast<size_t>(i - 1)];
      Text key;
      Variant found;
      EXPECT_EQ(S_OK, z->get_Key(i, key.inout()));
      EXPECT_EQ(record->text, key.view());
      EXPECT_EQ(record->item, itemAt(z, i).get());
      EXPECT_EQ(S_OK, each->Next(1, found.put(), nullptr));
      EXPECT_EQ(record->item, V_DISPATCH(&found.get()));
    }
    Variant none;
    EXPECT_EQ(S_FALSE, each->Next(1, none.put(), nullptr));
    for (const wchar_t letter : std::wstring_view(L"abcdefghABCDEFGH")) compareKey({letter});
    if (depth != 0) return;  // a source that is heard is held by more than its records
    for (const auto& item : items_) {
      EXPECT_EQ(1 + model_.recordsOf(item.get()).size(), item->references);
    }
  }

  void compareKey(const std::wstring& key) {
    const Text text(key);
    const auto record = model_.find(key);
    LONG index = 0;
    EXPECT_EQ(S_OK, z->IndexFromKey(text.get(), &index));
    EXPECT_EQ(model_.indexFromKey(key), index);
    EXPECT_EQ(record != nullptr, keyExists(z, key));
    if (!record) return;
    ComPtr<IDispatch> item;
    EXPECT_EQ(S_OK, z->get_Item(textValue(text), item.put()));
    EXPECT_EQ(record->item, item.get());
  }

  void endEpisode() override {
    letGo();
    model_ = {};
    for (const auto& item : items_) {
      EXPECT_EQ(1u, item->references);
      item->fire(1);  // long after the end: a sink that was kept is silent
      item->sinks.clear();
    }
  }

  TestSource* anyItem() { return items_[below(static_cast<unsigned>(items_.size()))].get(); }

  std::vector<ComPtr<TestSource>> items_;
  CollectionModel model_;
};

TEST_F(Model, TellsEveryAnswerOfTheCollection) { play(12000); }

}  // namespace
