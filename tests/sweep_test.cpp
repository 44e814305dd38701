// Every operation of the collection with its n-th allocation and all later ones failing, for each n
// until it succeeds without a failure: it has its whole effect or none and says so, nobody is
// forgotten, nothing leaks, and the collection works on.
#include <algorithm>
#include <optional>

#include "support/failing_memory.h"
#include "support/late_call.h"
#include "support/test_client.h"

namespace {

constexpr LONG kCannotCreateSink = -2147221501;
constexpr wchar_t kPlainSource[] = L"{6C2E7E41-1C58-4B43-9D7D-0A3F2A5B7C21}";

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
  HRESULT usual = S_OK;  // what it answers when there is memory
  bool needsNoMemory = false;
  bool isWithin = false;  // done by the handler of ConnectionFailed, while an item is refused
};
Operation needingNoMemory(Operation operation) {
  operation.needsNoMemory = true;
  return operation;
}
Operation within(Operation operation) {
  operation.isWithin = true;
  return operation;
}

// Puts the n-th failure around the call of interest, and nothing else.
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

  void run(const std::vector<Operation>& operations, bool isQuiet) {
    for (const Operation& operation : operations) {
      for (const auto course : {FailingMemory::kStaysAway, FailingMemory::kComesBack}) {
        const int failures = failuresSoFar();
        sweep(operation, course, isQuiet);  // and fills what the platform keeps
        if (isQuiet) continue;              // threads leave blocks of the platform
        const size_t before = blocksInUse();
        sweep(operation, course, isQuiet);
        EXPECT_TRUE(blocksInUse() <= before || failures != failuresSoFar())
            << "a leak: " << operation.name;
      }
    }
  }

 private:
  static int failuresSoFar() {
    return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
  }

  void sweep(const Operation& operation, FailingMemory::Course course, bool isQuiet) {
    bool hasFailed = true;
    for (unsigned n = 1; hasFailed; ++n) {
      ASSERT_LT(n, 500u) << "no end of allocations";
      const auto once = [&] { hasFailed = perform(operation, n, course, isQuiet); };
      isQuiet ? onFreshThread(once) : once();
    }
  }

  bool perform(const Operation& operation, unsigned n, FailingMemory::Course course, bool isQuiet) {
    SCOPED_TRACE(std::string(operation.name) + ", allocation " + std::to_string(n) +
                 (course == FailingMemory::kComesBack ? " alone" : " and all later ones"));
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
      EXPECT_EQ(operation.usual, result);
    } else {
      EXPECT_TRUE(result == operation.usual || result == runtimeError(7) ||
                  result == E_OUTOFMEMORY || result == kCannotCreateSink)
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
    SCOPED_TRACE("item " + std::to_string(i) + (isIn ? " in" : " out"));
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
      EXPECT_EQ(0, countOf(scene.z.get()));
      EXPECT_EQ(S_OK, add(scene.z.get(), item.get(), {L"probe"}));
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

Operation adding(const char* name, Placement place, std::function<void(Scene&)> prepare = {}) {
  place.key = place.key.empty() ? L"new" : place.key;
  return {name, kNew, [place](Scene& s) { return add(s.z.get(), s.item(kNew), place); },
          std::move(prepare)};
}

// A record that is listed twice, and the last one pushed out: a, a, b, and c without a place.
void listTwice(Scene& scene) {
  EXPECT_EQ(runtimeError(457),
            add(scene.z.get(), TestSource::make().get(), {.key = L"a", .before = longValue(1)}));
}

void ignoreCase(Scene& scene) {
  EXPECT_EQ(S_OK, scene.z->Clear());
  EXPECT_EQ(S_OK, scene.z->put_CompareMode(CompareText));
  for (int i = 0; i < 3; ++i) add(scene.z.get(), scene.item(i), {scene.keys[i]});
}

std::vector<Operation> insertions() {
  static const Text a(L"a"), b(L"b"), key(L"new");
  return {
      adding("Add", {}),
      adding("Add ignoring case", {.key = L"NEW"}, ignoreCase),
      adding("Add before a position", {.before = longValue(2)}),
      adding("Add before a key", {.before = textValue(b)}),
      adding("Add after a position", {.after = doubleValue(1)}),
      adding("Add after a key ignoring case", {.after = textValue(a)}, ignoreCase),
      adding("Add for a named interface", {.sourceIID = kPlainSource}),
      {"Add of a key that is taken",
       kNobody,
       [](Scene& s) { return add(s.z.get(), s.item(kNew), {L"a"}); },
       {},
       runtimeError(457)},
      {"Add late bound", kNew,
       [](Scene& s) {
         return late(s.z.get(), L"Add", {objectValue(s.item(kNew)), missing(), textValue(key)});
       }},
      {"Add of the other face", kNew,
       [](Scene& s) {
         VARIANT item = objectValue(s.item(kNew)), keyValue = textValue(key), none = missing();
         return s.face()->Add(&item, &keyValue, &none, &none);
       }},
      {"Add of the other face, late bound", kNew,
       [](Scene& s) {
         return late(s.face().get(), L"Add", {objectValue(s.item(kNew)), textValue(key)});
       }},
  };
}

std::vector<Operation> removals() {
  static const Text b(L"b"), c(L"c");
  const auto clear = [](Scene& s) { return s.z->Clear(); };
  const auto removeB = [](Scene& s) { return s.z->RemoveByKey(b.get()); };
  return {
      {"RemoveByKey", kB, removeB},
      {"RemoveByKey ignoring case", kB, removeB, ignoreCase},
      needingNoMemory({"RemoveByIndex", kB, [](Scene& s) { return s.z->RemoveByIndex(2); }}),
      {"Remove a key", kB, [](Scene& s) { return s.z->Remove(textValue(b)); }},
      needingNoMemory(
          {"Remove a position", kB, [](Scene& s) { return s.z->Remove(doubleValue(2)); }}),
      {"RemoveByKey late bound", kB,
       [](Scene& s) { return late(s.z.get(), L"RemoveByKey", {textValue(b)}); }},
      {"RemoveByIndex late bound", kB,
       [](Scene& s) { return late(s.z.get(), L"RemoveByIndex", {longValue(2)}); }},
      {"RemoveByKey beside a record listed twice", kB, removeB, listTwice},
      {"RemoveByKey of an unlisted one", kC, [](Scene& s) { return s.z->RemoveByKey(c.get()); },
       listTwice},
      needingNoMemory({"RemoveByIndex beside a record listed twice", kB,
                       [](Scene& s) { return s.z->RemoveByIndex(3); }, listTwice}),
      {"Clear", kAll, clear},
      {"Clear with records listed twice and not at all", kAll, clear, listTwice},
      needingNoMemory({"the last release", kAll,
                       [](Scene& s) {
                         s.client->disconnect();
                         s.z.reset();
                         return S_OK;
                       },
                       listTwice}),
      within({"RemoveByKey while an item is refused", kB, removeB}),
      within(needingNoMemory({"RemoveByIndex while an item is refused", kA,
                              [](Scene& s) { return s.z->RemoveByIndex(1); }})),
      within({"Clear while an item is refused", kAll, clear}),
  };
}

// These say what they found, or fail; on a thread that does not raise they may find nothing.
std::vector<Operation> lookups() {
  static const Text b(L"b");
  return {
      {"creation", kNobody,
       [](Scene&) {
         ComPtr<_Zollection> made;
         return CoCreateInstance(__uuidof(Zollection), nullptr, CLSCTX_INPROC_SERVER,
                                 __uuidof(_Zollection), made.putVoid());
       }},
      {"Item", kNobody,
       [](Scene& s) {
         ComPtr<IDispatch> found;
         const HRESULT result = s.z->get_Item(textValue(b), found.put());
         EXPECT_EQ(result == S_OK ? s.item(kB) : nullptr, found.get());
         return result;
       }},
      {"Item late bound", kNobody,
       [](Scene& s) {
         const Call call(s.z.get(), L"Item", {textValue(b)}, DISPATCH_PROPERTYGET);
         EXPECT_TRUE(call.result != S_OK || V_DISPATCH(&call.value.get()) == s.item(kB));
         return resultOf(call);
       }},
      {"Key", kNobody,
       [](Scene& s) {
         Text key;
         const HRESULT result = s.z->get_Key(2, key.inout());
         EXPECT_EQ(result == S_OK ? L"b" : L"", key.view());
         return result;
       }},
      {"a put of a Key that is taken",
       kNobody,
       [](Scene& s) { return s.z->put_Key(1, b.get()); },
       {},
       runtimeError(457)},
      {"IndexFromKey", kNobody,
       [](Scene& s) {
         LONG index = 0;
         const HRESULT result = s.z->IndexFromKey(b.get(), &index);
         EXPECT_TRUE(result != S_OK || index == 2);
         return result;
       }},
      {"Exists", kNobody,
       [](Scene& s) {
         VARIANT_BOOL exists = 0;
         const HRESULT result = s.z->get_Exists(textValue(b), &exists);
         EXPECT_TRUE(result != S_OK || exists == VARIANT_TRUE);
         return result;
       }},
      {"For Each", kNobody,
       [](Scene& s) {
         ComPtr<IEnumVARIANT> each;
         const HRESULT result = s.z->NewEnum(each.put());
         for (int i = 0; result == S_OK && i < 3; ++i) {
           Variant found;
           EXPECT_EQ(S_OK, each->Next(1, found.put(), nullptr));
           EXPECT_EQ(s.item(i), V_DISPATCH(&found.get()));
         }
         return result;
       }},
  };
}

// An event is raised whatever is missing; only its arguments and its name may be.
std::vector<Operation> events() {
  const auto firing = [](const char* name, int count) -> Operation {
    return needingNoMemory({name, kNobody, [count](Scene& s) {
                              const Text text(L"text");
                              Text variable(L"old");
                              LONG number = 1;
                              s.client->onEvent = [&](SAFEARRAY** aParams) {
                                if (!*aParams || (*aParams)->rgsabound[0].cElements == 0) return;
                                auto& first = *static_cast<VARIANT*>((*aParams)->pvData);
                                if (V_VT(&first) == VT_I4) V_I4(&first) = 2;
                              };
                              s.client->heard.clear();
                              if (count == 0) s.item(kB)->fire(1);
                              if (count == 1) s.item(kB)->fire(1, {reference(VT_I4, &number)});
                              if (count == 3) {
                                s.item(kB)->fire(1, {reference(VT_I4, &number), textValue(text),
                                                     reference(VT_BSTR, variable.inout())});
                              }
                              EXPECT_EQ(1u, s.client->heard.size()) << "an event was lost";
                              EXPECT_EQ(L"old", variable.view()) << "only what was read goes back";
                              EXPECT_TRUE(number == 1 || number == 2);
                              s.client->onEvent = {};
                              return S_OK;
                            }});
  };
  return {firing("an event", 0), firing("an event with a changed argument", 1),
          firing("an event with texts", 3)};
}

TEST_F(Sweep, OfInsertions) { run(insertions(), false); }
TEST_F(Sweep, OfRemovals) { run(removals(), false); }
TEST_F(Sweep, OfLookups) { run(lookups(), false); }
TEST_F(Sweep, OfEvents) { run(events(), false); }
TEST_F(Sweep, OfInsertionsOnAThreadThatDoesNotRaise) { run(insertions(), true); }
TEST_F(Sweep, OfRemovalsOnAThreadThatDoesNotRaise) { run(removals(), true); }
TEST_F(Sweep, OfEventsOnAThreadThatDoesNotRaise) { run(events(), true); }

}  // namespace
