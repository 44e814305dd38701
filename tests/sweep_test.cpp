// Every operation of the collection when memory runs out in its midst.
#include "support/sweep.h"

namespace {

constexpr wchar_t kPlainSource[] = L"{6C2E7E41-1C58-4B43-9D7D-0A3F2A5B7C21}";

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
      needingNoMemory({"RemoveByIndex", kB, [](Scene& s) { return s.z->RemoveByIndex(2); }}),
      {"RemoveByKey late bound", kB,
       [](Scene& s) { return late(s.z.get(), L"RemoveByKey", {textValue(b)}); }},
      {"RemoveByKey beside a record listed twice", kB, removeB, listTwice},
      {"RemoveByKey of an unlisted one", kC, [](Scene& s) { return s.z->RemoveByKey(c.get()); },
       listTwice},
      needingNoMemory({"RemoveByIndex beside a record listed twice", kB,
                       [](Scene& s) { return s.z->RemoveByIndex(3); }, listTwice}),
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
