// A bed for operations of a collection with their n-th allocation failing, alone or with all later
// ones, for each n until they succeed without a failure: whole effect or none, and the answer says
// which; nobody is forgotten, nothing leaks, and the collection works on.
#pragma once

#include <algorithm>
#include <optional>

#include "support/failing_memory.h"
#include "support/late_call.h"
#include "support/test_client.h"

// Whose being in the collection an operation changes: one of the items a, b and c, which are in,
// the one that is to come in, or all that are in.
enum Changes { kA, kB, kC, kNew, kAll, kNobody };

struct Scene {
  ComPtr<_Zollection> z = newCollection();
  std::unique_ptr<TestClient> client = std::make_unique<TestClient>(z.get());
  std::vector<ComPtr<TestSource>> items;
  const std::wstring keys[4] = {L"a", L"b", L"c", L"new"};

  TestSource* item(int i) const { return items.at(static_cast<size_t>(i)).get(); }
  ComPtr<_Collection> face() const { return ComPtr<_Collection>::from(z.get()); }
};

struct Operation {
  const char* name;
  Changes changes;
  std::function<HRESULT(Scene&)> act;
  std::function<void(Scene&)> prepare = {};
  bool needsNoMemory = false;
  bool isWithin = false;  // done by the handler of ConnectionFailed, while an item is refused
};
inline Operation needingNoMemory(Operation operation) {
  operation.needsNoMemory = true;
  return operation;
}

class Sweep : public testing::Test {
 protected:
  // What the process makes once: tables of members, and the lock of the reserve from which the
  // run-time throws when it must.
  Sweep() {
    const Scene scene;
    EXPECT_EQ(S_OK, late(scene.z.get(), L"Clear", {}));
    EXPECT_EQ(S_OK, late(scene.face().get(), L"Count", {}));
    throwOnce(scene);
    const FailingMemory memory(1, FailingMemory::kStaysAway, 100);
    throwOnce(scene);
  }

  void run(const std::vector<Operation>& operations) {
    for (const Operation& operation : operations) {
      for (const auto course : {FailingMemory::kStaysAway, FailingMemory::kComesBack}) {
        sweep(operation, course);               // and fills what the platform keeps
        if (isQuiet || HasFailure()) continue;  // threads leave blocks of the platform
        // A leak grows each time; heaps that check themselves keep what is freed for a while.
        bool grows = true;
        for (int i = 0; grows && i < 20; ++i) {
          const size_t before = blocksInUse();
          sweep(operation, course);
          grows = blocksInUse() > before;
        }
        EXPECT_FALSE(grows) << operation.name;
      }
    }
  }

  bool isQuiet = false;  // on threads that do not raise errors

 private:
  void sweep(const Operation& operation, FailingMemory::Course course) {
    bool hasFailed = true;
    for (unsigned n = 1; hasFailed; ++n) {
      ASSERT_LT(n, 500u);
      const auto once = [&] { hasFailed = perform(operation, n, course); };
      isQuiet ? onFreshThread(once) : once();
    }
  }

  bool perform(const Operation& operation, unsigned n, FailingMemory::Course course) {
    SCOPED_TRACE(testing::Message() << operation.name << (course ? " alone" : "") << ", " << n);
    Scene scene;
    throwOnce(scene);  // the thread's first
    if (!isQuiet) scene.z->RemoveByIndex(0);
    for (int i = 0; i < 4; ++i) {
      scene.items.push_back(TestSource::make());
      if (i < 3) add(scene.z.get(), scene.item(i), {scene.keys[i]});
    }
    if (operation.prepare) operation.prepare(scene);
    HRESULT result = E_FAIL;
    std::optional<FailingMemory> memory;
    const auto act = [&] {
      memory.emplace(n, course);
      result = operation.act(scene);
    };
    operation.isWithin ? refuse(scene, act) : act();
    memory.reset();
    const bool hasFailed = FailingMemory::hasFailed();
    expectClear(operation, result, hasFailed);
    const bool hasEffect = takesEffect(operation, scene, result, isQuiet && hasFailed);
    for (int i = 0; i < 4; ++i) {
      const bool changes = operation.changes == i || (operation.changes == kAll && i < 3);
      expectMember(scene, i, (i < 3) != (changes && hasEffect));
    }
    expectWorking(scene);
    return hasFailed;
  }

  static void refuse(Scene& scene, const std::function<void()>& handler) {
    scene.client->onConnectionFailed = [&handler](BSTR*, LONG) { handler(); };
    EXPECT_NE(S_OK, add(scene.z.get(), scene.item(kNew), {.sourceIID = kUnknownSource}));
  }

  static void throwOnce(const Scene& scene) { scene.z->Remove(doubleValue(1e300)); }

  static void expectClear(const Operation& operation, HRESULT result, bool hasFailed) {
    if (!hasFailed || operation.needsNoMemory) {
      EXPECT_EQ(S_OK, result);
    } else {
      EXPECT_TRUE(result == S_OK || result == runtimeError(7) || result == E_OUTOFMEMORY ||
                  result == wecErrCannotCreateSinkObject)
          << std::hex << result;
    }
  }

  // A success has its effect, but where a frame on a quiet thread may have swallowed the failure of
  // a removal: then that one says by its references which it is. Clear may fail when all have gone.
  static bool takesEffect(const Operation& operation, const Scene& scene, HRESULT result,
                          bool maySwallow) {
    if (operation.changes == kAll && scene.z) return result == S_OK || countOf(scene.z.get()) == 0;
    if (result == S_OK && maySwallow && operation.changes < kNew && !operation.needsNoMemory) {
      return scene.item(operation.changes)->references == 1;
    }
    return result == S_OK;
  }

  // In: held, listed or at least known, heard at its place. Out: nothing of all that.
  static void expectMember(Scene& scene, int i, bool isIn) {
    SCOPED_TRACE(i);
    TestSource* const item = scene.item(i);
    EXPECT_EQ(isIn ? 2u : 1u, item->references);
    if (!scene.z) return;
    scene.client->heard.clear();
    item->fire(1);
    EXPECT_EQ(isIn ? 1u : 0u, scene.client->heard.size());
    LONG index = 0;
    EXPECT_EQ(S_OK, scene.z->IndexFromKey(Text(scene.keys[i]).get(), &index));
    EXPECT_EQ(isIn, index != -1);
    if (!isIn || scene.client->heard.empty()) return;
    EXPECT_EQ(index > countOf(scene.z.get()) ? -1 : index, scene.client->heard[0].index);
    ComPtr<IDispatch> found;
    EXPECT_EQ(S_OK, scene.z->get_Item(textValue(Text(scene.keys[i])), found.put()));
    EXPECT_EQ(item, found.get());
  }

  static void expectWorking(Scene& scene) {
    if (scene.z) {
      for (LONG i = 1; i <= countOf(scene.z.get()); ++i) EXPECT_TRUE(itemAt(scene.z.get(), i));
      const auto item = TestSource::make();
      EXPECT_EQ(S_OK, add(scene.z.get(), item.get(), {L"probe"}));
      scene.client->heard.clear();
      item->fire(1);
      EXPECT_EQ(1, std::ranges::count(scene.client->heard, countOf(scene.z.get()), &Heard::index));
      EXPECT_EQ(S_OK, scene.z->RemoveByKey(Text(L"probe").get()));
      EXPECT_EQ(1u, item->references);
      EXPECT_EQ(S_OK, scene.z->Clear());
    }
    for (const auto& item : scene.items) EXPECT_EQ(1u, item->references);
  }

  // Of all heaps: the collections' own, the platform's and those of the C run-time.
  static size_t blocksInUse() {
    size_t blocks = 0;
    std::vector<HANDLE> heaps(64);
    heaps.resize(GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()));
    for (const HANDLE heap : heaps) {
      for (PROCESS_HEAP_ENTRY entry{}; HeapWalk(heap, &entry);) {
        if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) ++blocks;
      }
    }
    return blocks;
  }
};
