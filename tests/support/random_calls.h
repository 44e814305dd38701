// Long random sequences of calls of a collection, through all of its faces. ZSUPPORT_SEED and
// ZSUPPORT_OPERATIONS choose other sequences; a failure tells the seed, and what was done last.
#pragma once

#include <cstdlib>
#include <deque>
#include <random>

#include "support/collection_model.h"
#include "support/late_call.h"
#include "support/test_client.h"

class RandomCalls : public testing::Test {
 protected:
  using Place = CollectionModel::Place;

  // Raises errors from here on.
  RandomCalls() { EXPECT_EQ(runtimeError(381), newCollection()->RemoveByIndex(0)); }

  // What a test does in an episode: the life of a collection.
  virtual void operate() = 0;
  virtual void endEpisode() = 0;

  void play(unsigned usual) {
    const unsigned seed = setting("ZSUPPORT_SEED", 1);
    const unsigned operations = setting("ZSUPPORT_OPERATIONS", usual);
    const LONG alive = TestSource::alive;
    random_.seed(seed);
    for (unsigned done = 0; done < operations && !HasFailure();) {
      owner_ = newCollection();
      z = owner_.get();
      face = ComPtr<_Collection>::from(z).get();
      client = std::make_unique<TestClient>(z);
      for (const unsigned end = done + 200; done < end && !HasFailure(); ++done) operate();
      if (!HasFailure()) endEpisode();
      letGo();
      client.reset();
    }
    EXPECT_EQ(alive, TestSource::alive) << "an item was leaked";
    std::string last;
    for (const std::string& line : journal_) last += "\n  " + line;
    EXPECT_FALSE(HasFailure()) << "seed " << seed << ", last of all:" << last;
  }

  // What handlers do, from within a call.
  void operateWithin() {
    if (depth == 3 || HasFailure()) return;
    ++depth;
    operate();
    --depth;
  }

  unsigned below(unsigned limit) { return static_cast<unsigned>(random_()) % limit; }
  bool percent(unsigned chance) { return below(100) < chance; }
  LONG anyPosition() { return static_cast<LONG>(below(static_cast<unsigned>(countOf(z)) + 2)); }
  std::wstring anyKey() { return std::wstring(1, L"abcdefghABCDEFGH"[below(16)]); }
  VARIANT number(LONG value) {
    const VARIANT forms[] = {
        longValue(value), doubleValue(value), makeValue(VT_R4, static_cast<FLOAT>(value)),
        makeValue(VT_I2, static_cast<SHORT>(value)), makeValue(VT_UI1, static_cast<BYTE>(value))};
    return forms[below(5)];
  }

  // The other face knows no source interfaces.
  HRESULT addSomehow(IDispatch* item, const std::wstring& keyText, const Place& place,
                     const std::wstring& sourceIID = {}) {
    note("Add", keyText, place.side ? place.position : -1);
    const Text key(keyText), placeKey(place.key), iid(sourceIID);
    VARIANT there = place.key.empty() ? number(place.position) : textValue(placeKey);
    VARIANT before = place.side == Place::kBefore ? there : missing();
    VARIANT after = place.side == Place::kAfter ? there : missing();
    VARIANT object = objectValue(item), keyValue = textValue(key);
    const bool isOther = sourceIID.empty() && percent(50), isLate = percent(50);
    if (isOther && isLate) return late(face, L"Add", {object, keyValue, before, after});
    if (isOther) return face->Add(&object, &keyValue, &before, &after);
    if (isLate) return late(z, L"Add", {object, textValue(iid), keyValue, before, after});
    return add(z, item, {keyText, before, after, sourceIID});
  }
  HRESULT removeSomehow(VARIANT key, const std::wstring& name) {
    note("Remove", name, V_VT(&key) == VT_I4 ? V_I4(&key) : 0);
    const bool isOther = percent(50), isLate = percent(50);
    if (isOther) return isLate ? late(face, L"Remove", {key}) : face->Remove(&key);
    if (V_VT(&key) == VT_BSTR)
      return isLate ? late(z, L"RemoveByKey", {key}) : z->RemoveByKey(V_BSTR(&key));
    if (V_VT(&key) == VT_I4 && !isLate) return z->RemoveByIndex(V_I4(&key));
    return isLate ? late(z, L"RemoveByIndex", {key}) : z->Remove(key);
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
  static unsigned setting(const char* name, unsigned usual) {
    const char* const text = std::getenv(name);
    return text ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : usual;
  }

  ComPtr<_Zollection> owner_;
  std::mt19937 random_;
  std::deque<std::string> journal_;
};
