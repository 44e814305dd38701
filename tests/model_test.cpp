// Long random sequences of operations against a model of the collection, through all of its faces,
// with handlers that call back. ZSUPPORT_SEED and ZSUPPORT_OPERATIONS choose other sequences; a
// failure tells both, and what was done last.
#include <algorithm>
#include <cstdlib>
#include <deque>
#include <random>

#include "support/collection_model.h"
#include "support/late_call.h"
#include "support/test_client.h"

namespace {

using Place = CollectionModel::Place;

constexpr wchar_t kUnknownSource[] = L"{6C2E7E41-1C58-4B43-9D7D-0A3F2A5B7CFF}";
constexpr LONG kNoConnectionPoint = -2147221502;
constexpr int kDeepest = 3;
constexpr unsigned kEpisode = 200;  // operations in the life of one collection

unsigned setting(const char* name, unsigned usual) {
  const char* const text = std::getenv(name);
  return text ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : usual;
}

HRESULT late(IDispatch* object, const wchar_t* member, std::vector<VARIANT> arguments,
             int flags = DISPATCH_METHOD) {
  const Call call(object, member, std::move(arguments), flags);
  return call.result == DISP_E_EXCEPTION ? call.number : call.result;
}

HRESULT resultOf(LONG error) { return error > 0 ? runtimeError(error) : error; }

// The random choices, the calls through a face chosen by chance, and the record of both.
class RandomCalls : public testing::Test {
 protected:
  enum Face { kEarly, kLate, kCollection, kLateCollection, kFaces };

  // Raises errors from here on.
  RandomCalls() { EXPECT_EQ(runtimeError(381), newCollection()->RemoveByIndex(0)); }

  // Episodes, each with a collection of its own, until enough operations have been done.
  void play(unsigned usual, const std::function<void()>& operation,
            const std::function<void()>& end) {
    const unsigned seed = setting("ZSUPPORT_SEED", 1);
    const unsigned operations = setting("ZSUPPORT_OPERATIONS", usual);
    const LONG alive = TestSource::alive;
    random_.seed(seed);
    for (unsigned done = 0; done < operations && !HasFailure();) {
      owner_ = newCollection();
      z = owner_.get();
      face = ComPtr<_Collection>::from(z).get();
      client = std::make_unique<TestClient>(z);
      for (unsigned i = 0; i < kEpisode && !HasFailure(); ++i, ++done) operation();
      if (!HasFailure()) end();
      letGo();
      client.reset();
    }
    EXPECT_EQ(alive, TestSource::alive) << "an item was leaked";
    if (!HasFailure()) return;
    std::string last;
    for (const std::string& line : journal_) last += "\n  " + line;
    ADD_FAILURE() << "seed " << seed << ", last of all:" << last;
  }

  unsigned below(unsigned limit) { return static_cast<unsigned>(random_()) % limit; }
  bool percent(unsigned chance) { return below(100) < chance; }
  Face anyFace() { return static_cast<Face>(below(kFaces)); }
  LONG anyPosition(LONG count) {
    return static_cast<LONG>(below(static_cast<unsigned>(count) + 2));
  }
  std::wstring anyKey() {
    return {static_cast<wchar_t>((percent(50) ? L'a' : L'A') + static_cast<wchar_t>(below(8)))};
  }
  VARIANT number(LONG value) {
    switch (below(5)) {
      case 0:
        return makeValue(VT_I2, static_cast<SHORT>(value));
      case 1:
        return makeValue(VT_UI1, static_cast<BYTE>(value));
      case 2:
        return makeValue(VT_R4, static_cast<FLOAT>(value));
      case 3:
        return doubleValue(value);
      default:
        return longValue(value);
    }
  }

  HRESULT addThrough(Face chosen, IDispatch* item, const std::wstring& keyText, const Place& place,
                     const std::wstring& sourceIID) {
    const Text key(keyText), placeKey(place.key), iid(sourceIID);
    VARIANT there = place.key.empty() ? number(place.position) : textValue(placeKey);
    VARIANT before = place.side == Place::kBefore ? there : missing();
    VARIANT after = place.side == Place::kAfter ? there : missing();
    VARIANT object = objectValue(item), keyValue = textValue(key);
    switch (chosen) {
      case kEarly:
        return add(z, item, {keyText, before, after, sourceIID});
      case kLate:
        return late(z, L"Add", {object, textValue(iid), keyValue, before, after});
      case kCollection:
        return face->Add(&object, &keyValue, &before, &after);
      default:
        return late(face, L"Add", {object, keyValue, before, after});
    }
  }
  HRESULT removeThrough(Face chosen, VARIANT key) {
    const bool isText = V_VT(&key) == VT_BSTR, isLong = V_VT(&key) == VT_I4;
    switch (chosen) {
      case kEarly:
        return isText   ? z->RemoveByKey(V_BSTR(&key))
               : isLong ? z->RemoveByIndex(V_I4(&key))
                        : z->Remove(key);
      case kLate:
        return late(z, isText ? L"RemoveByKey" : L"RemoveByIndex", {key});
      case kCollection:
        return face->Remove(&key);
      default:
        return late(face, L"Remove", {key});
    }
  }
  HRESULT putKeyThrough(Face chosen, LONG position, const Text& key) {
    return chosen == kEarly
               ? z->put_Key(position, key.get())
               : late(z, L"Key", {longValue(position), textValue(key)}, DISPATCH_PROPERTYPUT);
  }

  void note(const std::string& what, const std::wstring& key = {}, LONG value = 0) {
    journal_.push_back(std::string(static_cast<size_t>(depth * 2), ' ') + what + " " +
                       std::string(key.begin(), key.end()) + " " + std::to_string(value));
    if (journal_.size() > 40) journal_.pop_front();
  }

  // The collection's last release.
  void letGo() {
    client->disconnect();
    owner_.reset();
  }

  _Zollection* z = nullptr;  // to its very end: handlers call it during its last release
  _Collection* face = nullptr;
  std::unique_ptr<TestClient> client;
  int depth = 0;

 private:
  ComPtr<_Zollection> owner_;
  std::mt19937 random_;
  std::deque<std::string> journal_;
};

// Everything that can be asked, after every operation, handlers' operations included.
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

  void operate() {
    const unsigned choice = below(100);
    if (choice < 34) {
      addOne();
    } else if (choice < 46) {
      removeOne();
    } else if (choice < 58) {
      removeByKey();
    } else if (choice < 64) {
      putKey();
    } else if (choice < 70) {
      change();
    } else if (choice < 71 && depth == 0) {
      clearAll();
    } else {
      fireOne();
    }
    compare();
  }

  void addOne() {
    enum { kDefault = 6, kNone, kRefused, kAcceptedWithout, kChoices };
    TestSource* const item = anyItem();
    const std::wstring key = percent(80) ? anyKey() : L"";
    const Place place = {static_cast<Place::Side>(below(3)), anyPosition(model_.count()),
                         percent(30) ? anyKey() : L""};
    const Face chosen = anyFace();
    const unsigned source = chosen < kCollection ? below(kChoices) : 0;
    const bool isUnknown = source == kRefused || source == kAcceptedWithout;
    note("Add", key, static_cast<LONG>(source));
    note(place.side == Place::kLast ? "  last" : "  at " + std::to_string(place.side), place.key,
         place.position);
    client->onConnectionFailed = [&](BSTR* sourceIID, LONG) {
      if (source == kAcceptedWithout) SysReAllocString(sourceIID, kNoEvents);
    };
    const LONG expected =
        model_.add({item, source <= kDefault && SUCCEEDED(item->behaviour.adviseResult)}, key,
                   place, source == kRefused ? kNoConnectionPoint : 0);
    EXPECT_EQ(resultOf(expected), addThrough(chosen, item, key, place,
                                             isUnknown         ? kUnknownSource
                                             : source == kNone ? kNoEvents
                                                               : L""));
  }

  void removeOne() {
    const LONG position = anyPosition(model_.count());
    note("RemoveByIndex", {}, position);
    EXPECT_EQ(resultOf(model_.removeAt(position)),
              removeThrough(anyFace(), percent(50) ? longValue(position) : number(position)));
  }

  void removeByKey() {
    const std::wstring key = anyKey();
    note("RemoveByKey", key);
    EXPECT_EQ(resultOf(model_.removeKey(key)), removeThrough(anyFace(), textValue(Text(key))));
  }

  void putKey() {
    const LONG position = anyPosition(model_.count());
    const std::wstring key = percent(50) ? anyKey() : L"";
    note("Key", key, position);
    EXPECT_EQ(resultOf(model_.putKey(position, key)),
              putKeyThrough(percent(50) ? kEarly : kLate, position, Text(key)));
  }

  // The plain properties.
  void change() {
    const LONG value = static_cast<LONG>(below(2));
    note("CompareMode", {}, value);
    const bool isEmpty = model_.records.empty();
    if (isEmpty || model_.count() != 0) {
      EXPECT_EQ(isEmpty ? S_OK : runtimeError(387), z->put_CompareMode(value));
      if (isEmpty) model_.ignoresCase = value == 1;
    }
    EXPECT_EQ(S_OK, z->put_Increment(static_cast<LONG>(1) << below(14)));
    EXPECT_EQ(S_OK, z->put_UseDISPID(flag(value != 0)));
  }

  void clearAll() {
    note("Clear");
    VARIANT_BOOL before = 0, after = 1;
    LONG mode = -1, increment = 0;
    z->get_UseDISPID(&before);
    EXPECT_EQ(S_OK, percent(50) ? z->Clear() : late(z, L"Clear", {}));
    model_.clear();
    z->get_UseDISPID(&after);
    z->get_CompareMode(&mode);
    z->get_Increment(&increment);
    EXPECT_EQ(std::tuple(before, model_.ignoresCase ? 1 : 0, 4000),
              std::tuple(after, mode, increment));
  }

  // Every record that holds the item and is connected hears, unless a handler has let it go.
  void fireOne() {
    TestSource* const item = anyItem();
    auto waiting = model_.recordsOf(item);
    std::erase_if(waiting, [](const auto& record) { return !record->connected; });
    note("fire", {}, static_cast<LONG>(waiting.size()));
    size_t next = 0;
    const auto skipTheGone = [&] {
      while (next < waiting.size() && !waiting[next]->alive) ++next;
      return next == waiting.size();
    };
    auto outer = std::exchange(client->onEvent, [&](SAFEARRAY**) {
      ASSERT_FALSE(skipTheGone()) << "an event of nobody";
      const LONG position = model_.positionOf(waiting[next++]);
      EXPECT_EQ(position == 0 ? -1 : position, client->heard.back().index);
      EXPECT_EQ(item, client->heard.back().source);
      if (depth == kDeepest || !percent(25)) return;
      ++depth;
      operate();
      --depth;
    });
    item->fire(1);
    client->onEvent = std::move(outer);  // itself: it may be running
    client->heard.clear();
    EXPECT_TRUE(skipTheGone()) << "an event was lost";
  }

  void compare() {
    ASSERT_EQ(model_.count(), countOf(z));
    ComPtr<IUnknown> enumerator;
    if (percent(50)) {
      face->_NewEnum(enumerator.put());
    } else {
      z->NewEnum(reinterpret_cast<IEnumVARIANT**>(enumerator.put()));
    }
    const auto each = ComPtr<IEnumVARIANT>::from(enumerator.get());
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
    compareKeys();
    if (depth != 0) return;  // a source that is heard is held by more than its records
    for (const auto& item : items_) {
      EXPECT_EQ(1 + model_.recordsOf(item.get()).size(), item->references);
    }
  }

  void compareKeys() {
    for (wchar_t letter = L'A'; letter < L'i'; letter = letter == L'H' ? L'a' : letter + 1) {
      const std::wstring key(1, letter);
      const Text text(key);
      const auto record = model_.find(key);
      VARIANT_BOOL exists = 0x55;
      LONG index = 0;
      ComPtr<IDispatch> item;
      EXPECT_EQ(S_OK, z->IndexFromKey(text.get(), &index));
      EXPECT_EQ(model_.indexFromKey(key), index);
      EXPECT_EQ(S_OK, z->get_Exists(textValue(text), &exists));
      EXPECT_EQ(flag(record != nullptr), exists);
      if (!record) continue;
      EXPECT_EQ(S_OK, z->get_Item(textValue(text), item.put()));
      EXPECT_EQ(record->item, item.get());
    }
  }

  TestSource* anyItem() { return items_[below(static_cast<unsigned>(items_.size()))].get(); }

  std::vector<ComPtr<TestSource>> items_;
  CollectionModel model_;
};

TEST_F(Model, TellsEveryAnswerOfTheCollection) {
  play(
      12000, [&] { operate(); },
      [&] {
        letGo();
        model_ = {};
        for (const auto& item : items_) {
          EXPECT_EQ(1u, item->references);
          item->fire(1);  // long after the end: a sink that was kept is silent
          item->sinks.clear();
        }
      });
}

// Handlers, items and sources that call back at the worst moments. Where everybody ends up then is
// not told; but nothing may be lost, and what was removed is gone.
class CalledBack : public RandomCalls {
 protected:
  struct Entry {
    TestSource* source;  // alive until it says that it is destroyed
    ComPtr<TestSource> held;
    std::wstring key;
    bool connected;
    bool present = false;
    bool destroyed = false;
  };

  void episode(bool gapsStay) {
    gapsStay_ = gapsStay;
    play(
        4000,
        [&] {
          client->onEvent = [this](SAFEARRAY**) { strike(); };
          client->onConnectionFailed = [this](BSTR* sourceIID, LONG) {
            const bool accepts = acceptsFailure_;
            strike();
            if (accepts) SysReAllocString(sourceIID, kNoEvents);
          };
          operate();
          check();
        },
        [&] { end(); });
  }

  // From within a call of the collection.
  void strike() {
    if (isQuiet_ || HasFailure() || depth == kDeepest || !percent(35)) return;
    ++depth;
    operate();
    --depth;
  }

  void operate() {
    const unsigned choice = below(100);
    if (choice < 40) {
      addOne();
    } else if (choice < 60) {
      removeAt();
    } else if (choice < 80) {
      removeKey();
    } else if (choice < 85) {
      putKey();
    } else if (choice < 97 || (depth == 0 && choice < 99)) {
      fireOne();
    } else {
      note("Clear");
      if (SUCCEEDED(z->Clear())) allAreGone();
      note("Clear ends");
    }
  }

  void addOne() {
    // A place among the others is refused only where gaps may stay.
    const bool amongOthers = percent(50), mayFail = gapsStay_ || !amongOthers;
    const bool isUnknown = percent(25);
    const std::wstring key = mayFail ? anyKey() : std::to_wstring(++lastKey_);
    const Place place = {amongOthers ? Place::kBefore : Place::kLast, anyPosition(count())};
    auto* const entry = entries_.emplace_back(std::make_unique<Entry>()).get();
    entry->held = makeSource(entry);
    entry->source = entry->held.get();
    entry->connected = !isUnknown;
    const bool outer = std::exchange(acceptsFailure_, !mayFail || percent(50));
    note("Add", key, place.side ? place.position : -1);
    const HRESULT result = addThrough(isUnknown ? kEarly : anyFace(), entry->source, key, place,
                                      isUnknown ? kUnknownSource : L"");
    acceptsFailure_ = outer;
    note("Add ends", key, result);
    entry->present = result == S_OK;
    if (entry->present) entry->key = key;
    if (percent(50)) entry->held.reset();
  }

  ComPtr<TestSource> makeSource(Entry* entry) {
    auto source = TestSource::make();
    source->behaviour.onAdvise = [this] { strike(); };
    source->behaviour.onUnadvise = [this] { strike(); };
    source->behaviour.onDestroy = [this, entry] {
      entry->destroyed = true;
      strike();
    };
    return source;
  }

  void removeAt() {
    const LONG position = anyPosition(count());
    ComPtr<IDispatch> item;
    z->ItemByIndex(position, item.put());
    Entry* const entry = entryOf(item.get());
    item.reset();
    note("RemoveByIndex", entry ? entry->key : L"", position);
    if (SUCCEEDED(removeThrough(percent(50) ? kEarly : kCollection, longValue(position)))) {
      isGone(entry);
    }
    note("RemoveByIndex ends");
  }

  void removeKey() {
    const auto keyed = std::ranges::find_if(
        entries_, [this](const auto& entry) { return !entry->key.empty() && percent(20); });
    const std::wstring key = keyed == entries_.end() ? anyKey() : (*keyed)->key;
    const auto owner = ownerOf(key);
    Entry* const entry = owner == entries_.end() ? nullptr : owner->get();
    note("RemoveByKey", key);
    // The key goes first of all: another may get it meanwhile.
    if (entry) entry->key.clear();
    if (SUCCEEDED(removeThrough(percent(50) ? kEarly : kCollection, textValue(Text(key))))) {
      isGone(entry);
    } else if (entry) {
      entry->key = key;
    }
    note("RemoveByKey ends", key);
  }

  void putKey() {
    const LONG position = anyPosition(count());
    ComPtr<IDispatch> item;
    z->ItemByIndex(position, item.put());
    note("Key", {}, position);
    if (z->put_Key(position, nullptr) == S_OK) {
      if (Entry* const entry = entryOf(item.get())) entry->key.clear();
    }
  }

  void fireOne() {
    const auto entry = std::ranges::find_if(
        entries_, [this](const auto& one) { return !one->destroyed && percent(20); });
    if (entry == entries_.end()) return;
    note("fire", (*entry)->key);
    (*entry)->source->fire(1);
    note("fire ends");
    client->heard.clear();
  }

  // A record of a gap that stays may live for its other listing.
  void isGone(Entry* entry) {
    if (!entry || gapsStay_) return;
    entry->present = false;
    entry->key.clear();
  }
  void allAreGone() {
    for (const auto& entry : entries_) {
      entry->present = false;
      entry->key.clear();
    }
  }

  // Nobody is in the midst of anything.
  void check() {
    isQuiet_ = true;
    std::erase_if(entries_, [this](const auto& entry) {
      return entry->destroyed && (gapsStay_ || !entry->present);
    });
    std::vector<TestSource*> listed;
    ComPtr<IEnumVARIANT> each;
    EXPECT_EQ(S_OK, z->NewEnum(each.put()));
    for (LONG i = 1; i <= count(); ++i) {
      Variant found;
      EXPECT_EQ(S_OK, each->Next(1, found.put(), nullptr));
      const auto item = itemAt(z, i);
      EXPECT_EQ(item.get(), V_DISPATCH(&found.get()));
      Entry* const entry = entryOf(item.get());
      ASSERT_TRUE(entry) << "nothing is listed at " << i;
      listed.push_back(entry->source);
    }
    each.reset();
    for (const auto& entry : entries_) checkEntry(*entry, listed);
    for (wchar_t key = L'a'; key <= L'h'; ++key) checkKey(std::wstring(1, key));
    isQuiet_ = false;
  }

  void checkEntry(const Entry& entry, const std::vector<TestSource*>& listed) {
    if (entry.destroyed) {
      ADD_FAILURE() << "the item of a record has gone";
      return;
    }
    const auto listings = std::ranges::count(listed, entry.source);
    const ULONG holders = entry.source->references - (entry.held ? 1 : 0);
    EXPECT_LE(holders, 1u);
    if (gapsStay_) {
      EXPECT_TRUE(holders == 1 || listings == 0) << "listed, and not held";
    } else {
      EXPECT_EQ(entry.present ? 1u : 0u, holders) << "held by its record, if it is in";
      EXPECT_EQ(entry.present ? 1 : 0, listings);
    }
    client->heard.clear();
    entry.source->fire(1);
    ASSERT_EQ(holders == 1 && entry.connected ? 1u : 0u, client->heard.size());
    if (client->heard.empty()) return;
    const auto first = std::ranges::find(listed, entry.source);
    EXPECT_EQ(first == listed.end() ? -1 : first - listed.begin() + 1, client->heard[0].index);
    if (!gapsStay_ && !entry.key.empty()) {
      EXPECT_EQ(client->heard[0].index, indexOf(entry.key));
    }
  }

  void checkKey(const std::wstring& key) {
    const LONG index = indexOf(key);
    EXPECT_TRUE(gapsStay_ || (ownerOf(key) == entries_.end()) == (index == -1)) << "a lost key";
    if (index == -1) return;
    ComPtr<IDispatch> item;
    EXPECT_EQ(S_OK, z->get_Item(textValue(Text(key)), item.put()));
    EXPECT_TRUE(entryOf(item.get())) << "a key of nobody";
  }

  // The last release, with everything that the sources do meanwhile; or Clear.
  void end() {
    note("end");
    if (percent(50)) {
      EXPECT_EQ(S_OK, z->Clear());
      EXPECT_EQ(0, count());
    }
    letGo();
    isQuiet_ = true;
    for (const auto& entry : entries_) {
      EXPECT_EQ(!entry->held, entry->destroyed);
      if (!entry->held) continue;
      EXPECT_EQ(1u, entry->source->references);
      entry->source->fire(1);
      entry->held.reset();
    }
    isQuiet_ = false;
    entries_.clear();
  }

  LONG count() { return countOf(z); }
  LONG indexOf(const std::wstring& key) {
    LONG index = 0;
    EXPECT_EQ(S_OK, z->IndexFromKey(Text(key).get(), &index));
    return index;
  }
  std::vector<std::unique_ptr<Entry>>::iterator ownerOf(const std::wstring& key) {
    return std::ranges::find(entries_, key, [](const auto& entry) { return entry->key; });
  }
  Entry* entryOf(IDispatch* item) {
    const auto found = std::ranges::find_if(entries_, [item](const auto& entry) {
      return !entry->destroyed && static_cast<IDispatch*>(entry->source) == item;
    });
    return found == entries_.end() ? nullptr : found->get();
  }

  std::vector<std::unique_ptr<Entry>> entries_;
  bool gapsStay_ = false, acceptsFailure_ = false, isQuiet_ = false;
  int lastKey_ = 0;
};

TEST_F(CalledBack, NothingIsLostAndWhatIsRemovedIsGone) { episode(false); }

TEST_F(CalledBack, RecordsThatAreListedTwiceOrNotAtAllAreNotLostEither) { episode(true); }

}  // namespace
