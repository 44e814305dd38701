// Handlers, items and sources that call the collection at the worst moments, in random sequences.
// Where everybody stands afterwards is not told; but nothing is lost, and what was removed is gone.
#include <list>

#include "support/random_calls.h"

namespace {

class CalledBack : public RandomCalls {
 protected:
  struct Entry {
    TestSource* source;  // alive until it says that it is destroyed
    ComPtr<TestSource> held;
    std::wstring key = {};
    bool connected = false;
    bool present = false;
    bool destroyed = false;

    void leave() {
      present = false;
      key.clear();
    }
  };

  void operate() override {
    const unsigned choice = below(100);
    if (choice < 40) {
      addOne();
    } else if (choice < 80) {
      removeOne();
    } else if (choice < 85) {
      const LONG position = anyPosition();
      Entry* const entry = entryAt(position);
      if (z->put_Key(position, nullptr) == S_OK && entry) entry->key.clear();
    } else if (choice < 98) {
      fireOne();
    } else if (SUCCEEDED(z->Clear())) {
      std::ranges::for_each(entries_, &Entry::leave);
    }
    if (depth == 0 && percent(25)) check();
  }

  // From within a call of the collection.
  void strike() {
    if (!isQuiet_ && percent(35)) operateWithin();
  }

  void addOne() {
    // A place among the others is refused only where gaps may stay.
    const bool amongOthers = percent(50), mayFail = gapsStay_ || !amongOthers;
    const std::wstring key = mayFail ? anyKey() : std::to_wstring(++lastKey_);
    const Place place = {amongOthers ? Place::kBefore : Place::kLast, anyPosition()};
    const auto source = TestSource::make();
    Entry& entry = entries_.emplace_back(source.get(), source);
    source->behaviour.onAdvise = source->behaviour.onUnadvise = [this] { strike(); };
    source->behaviour.onDestroy = [this, &entry] {
      entry.destroyed = true;
      strike();
    };
    client->onEvent = [this](SAFEARRAY**) { strike(); };
    client->onConnectionFailed = [this, accepts = !mayFail || percent(50)](BSTR* iid, LONG) {
      strike();
      if (accepts) SysReAllocString(iid, kNoEvents);
    };
    entry.connected = percent(75);
    const HRESULT result =
        addSomehow(entry.source, key, place, entry.connected ? L"" : kUnknownSource);
    entry.present = result == S_OK;
    if (entry.present) entry.key = key;
    if (percent(50)) entry.held.reset();
  }

  void removeOne() {
    const LONG position = anyPosition();
    std::wstring key;
    if (percent(50)) {
      const auto keyed = std::ranges::find_if(
          entries_, [this](const Entry& entry) { return !entry.key.empty() && percent(20); });
      key = keyed == entries_.end() ? anyKey() : keyed->key;
    }
    Entry* const entry = key.empty() ? entryAt(position) : ownerOf(key);
    // A key goes first of all: another item may get it meanwhile.
    if (entry && !key.empty()) entry->key.clear();
    const HRESULT result = removeSomehow(key.empty() ? longValue(position) : textValue(Text(key)));
    if (!entry) return;
    if (FAILED(result) && !key.empty()) entry->key = key;
    // A record of a gap that stays may live for its other listing.
    if (SUCCEEDED(result) && !gapsStay_) entry->leave();
  }

  void fireOne() {
    const auto entry = std::ranges::find_if(
        entries_, [this](const Entry& one) { return !one.destroyed && percent(20); });
    if (entry == entries_.end()) return;
    entry->source->fire(1);
    client->heard.clear();
  }

  // Nobody is in the midst of anything.
  void check() {
    isQuiet_ = true;
    entries_.remove_if([this](const Entry& e) { return e.destroyed && (gapsStay_ || !e.present); });
    std::vector<const Entry*> listed;
    for (LONG i = 1; i <= countOf(z); ++i) {
      listed.push_back(entryAt(i));
      ASSERT_TRUE(listed.back());
    }
    for (const Entry& entry : entries_) checkEntry(entry, listed);
    for (const wchar_t letter : std::wstring_view(L"abcdefghABCDEFGH")) checkKey({letter});
    isQuiet_ = false;
  }

  void checkEntry(const Entry& entry, const std::vector<const Entry*>& listed) {
    ASSERT_FALSE(entry.destroyed);
    const auto listings = std::ranges::count(listed, &entry);
    const ULONG holders = entry.source->references - (entry.held ? 1 : 0);
    if (gapsStay_) {
      EXPECT_LE(listings ? 1u : 0u, holders);
      EXPECT_LE(holders, 1u);
    } else {
      EXPECT_EQ(entry.present ? 1u : 0u, holders);
      EXPECT_EQ(entry.present ? 1 : 0, listings);
    }
    client->heard.clear();
    entry.source->fire(1);
    ASSERT_EQ(entry.connected ? holders : 0, client->heard.size());
    if (client->heard.empty()) return;
    const auto first = std::ranges::find(listed, &entry);
    EXPECT_EQ(first == listed.end() ? -1 : first - listed.begin() + 1, client->heard[0].index);
  }

  void checkKey(const std::wstring& key) {
    ComPtr<IDispatch> item;
    z->get_Item(textValue(Text(key)), item.put());
    const Entry* const found = entryOf(item.get());
    EXPECT_TRUE(gapsStay_ ? found || !item : found == ownerOf(key));
  }

  // The last release, with everything that the sources do meanwhile; or Clear.
  void endEpisode() override {
    EXPECT_TRUE(percent(50) || z->Clear() == S_OK);
    letGo();
    isQuiet_ = true;
    for (Entry& entry : entries_) {
      EXPECT_EQ(!entry.held, entry.destroyed);
      if (!entry.held) continue;
      EXPECT_EQ(1u, entry.source->references);
      entry.source->fire(1);
      entry.held.reset();
    }
    entries_.clear();
    isQuiet_ = false;
  }

  Entry* ownerOf(const std::wstring& key) {
    const auto found = std::ranges::find(entries_, key, &Entry::key);
    return found == entries_.end() ? nullptr : &*found;
  }
  Entry* entryAt(LONG position) {
    ComPtr<IDispatch> item;
    z->ItemByIndex(position, item.put());
    return entryOf(item.get());
  }
  Entry* entryOf(IDispatch* item) {
    const auto found = std::ranges::find_if(entries_, [item](const Entry& entry) {
      return !entry.destroyed && static_cast<IDispatch*>(entry.source) == item;
    });
    return found == entries_.end() ? nullptr : &*found;
  }

  std::list<Entry> entries_;
  bool gapsStay_ = false, isQuiet_ = false;
  int lastKey_ = 0;
};

TEST_F(CalledBack, NothingIsLostAndWhatIsRemovedIsGone) { play(3000); }

TEST_F(CalledBack, RecordsThatAreListedTwiceOrNotAtAllAreNotLostEither) {
  gapsStay_ = true;
  play(3000);
}

}  // namespace
