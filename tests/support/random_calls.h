// Long random sequences of calls of a collection, through all of its faces. ZSUPPORT_SEED and
// ZSUPPORT_OPERATIONS choose other sequences; a failure tells the seed and the operation.
#pragma once

#include <random>

#include "support/collection_model.h"
#include "support/late_call.h"
#include "support/test_client.h"
#include "support/value_object.h"

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
    unsigned done = 0;
    while (done < operations && !HasFailure()) {
      owner_ = newCollection();
      z = owner_.get();
      face = ComPtr<_Collection>::from(z).get();
      client = std::make_unique<TestClient>(z);
      for (const unsigned end = done + 200; done < end && !HasFailure(); ++done) operate();
      if (!HasFailure()) endEpisode();
      letGo();
      client.reset();
    }
    EXPECT_EQ(alive, TestSource::alive);
    EXPECT_FALSE(HasFailure()) << "seed " << seed << ", operation " << done;
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
    constexpr VARTYPE kTypes[] = {VT_I4, VT_R8, VT_R4, VT_I2, VT_UI1};
    return numberOf(kTypes[below(5)], value);
  }

  // The other face knows no source interfaces.
  HRESULT addSomehow(IDispatch* item, const std::wstring& keyText, const Place& place,
                     const std::wstring& sourceIID = {}) {
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
  HRESULT removeSomehow(VARIANT key) {
    const bool isOther = percent(50), isLate = percent(50);
    if (isOther) return isLate ? late(face, L"Remove", {key}) : face->Remove(&key);
    const bool isText = V_VT(&key) == VT_BSTR;
    if (isLate) return late(z, isText ? L"RemoveByKey" : L"RemoveByIndex", {key});
    if (isText) return z->RemoveByKey(V_BSTR(&key));
    return V_VT(&key) == VT_I4 ? z->RemoveByIndex(V_I4(&key)) : z->Remove(key);
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
};
