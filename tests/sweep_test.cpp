// Every operation of the collection when memory runs out in its midst.
#include "support/sweep.h"

namespace {

Operation adding(const char* name, Placement place, std::function<void(Scene&)> prepare = {}) {
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
  static const Text a(L"a"), b(L"b");
  static const std::wstring key(L"new");
  return {
      adding("Add", {key}),
      adding("Add before a key", {.key = key, .before = textValue(b)}),
      adding("Add after a key ignoring case", {.key = L"NEW", .after = textValue(a)}, ignoreCase),
      adding("Add for a named interface",
             {.key = key, .sourceIID = L"{6C2E7E41-1C58-4B43-9D7D-0A3F2A5B7C21}"}),
      {"Add of the other face, late bound", kNew,
       [](Scene& s) {
         return late(s.face().get(), L"Add", {objectValue(s.item(kNew)), textValue(Text(key))});
       }},
  };
}

std::vector<Operation> removals() {
  return {
      {"RemoveByKey of an unlisted one, late bound", kC,
       [](Scene& s) { return late(s.z.get(), L"RemoveByKey", {textValue(Text(L"c"))}); },
       listTwice},
      needingNoMemory({"RemoveByIndex beside a record listed twice", kB,
                       [](Scene& s) { return s.z->RemoveByIndex(3); }, listTwice}),
      {"Clear with records listed twice and not at all", kAll,
       [](Scene& s) { return s.z->Clear(); }, listTwice},
      needingNoMemory({"the last release", kAll,
                       [](Scene& s) {
                         s.client->disconnect();
                         s.z.reset();
                         return S_OK;
                       },
                       listTwice}),
      {.name = "RemoveByIndex while an item is refused",
       .changes = kA,
       .act = [](Scene& s) { return s.z->RemoveByIndex(1); },
       .needsNoMemory = true,
       .isWithin = true},
      {.name = "Clear while an item is refused",
       .changes = kAll,
       .act = [](Scene& s) { return s.z->Clear(); },
       .isWithin = true},
  };
}

// These say what they found, or fail; on a thread that does not raise they may find nothing.
std::vector<Operation> lookups() {
  return {
      {"creation", kNobody,
       [](Scene&) {
         ComPtr<_Zollection> made;
         return CoCreateInstance(__uuidof(Zollection), nullptr, CLSCTX_INPROC_SERVER,
                                 __uuidof(_Zollection), made.putVoid());
       }},
      {"Key", kNobody,
       [](Scene& s) {
         Text key;
         const HRESULT result = s.z->get_Key(2, key.inout());
         EXPECT_EQ(result == S_OK ? L"b" : L"", key.view());
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
  return {
      needingNoMemory({"an event with a changed argument and texts", kNobody,
                       [](Scene& s) {
                         const Text text(L"text");
                         Text variable(L"old");
                         LONG number = 1;
                         s.client->onEvent = [](SAFEARRAY** aParams) {
                           if (!*aParams || (*aParams)->rgsabound[0].cElements == 0) return;
                           auto& first = *static_cast<VARIANT*>((*aParams)->pvData);
                           if (V_VT(&first) == VT_I4) V_I4(&first) = 2;
                         };
                         s.item(kB)->fire(1, {reference(VT_I4, &number), textValue(text),
                                              reference(VT_BSTR, variable.inout())});
                         EXPECT_EQ(1u, s.client->heard.size());
                         EXPECT_EQ(L"old", variable.view());
                         EXPECT_TRUE(number == 1 || number == 2);
                         s.client->onEvent = {};
                         return S_OK;
                       }}),
  };
}

TEST_F(Sweep, OnAThreadThatRaises) {
  for (const auto& group : {insertions(), removals(), lookups(), events()}) run(group);
}

TEST_F(Sweep, OnAThreadThatDoesNotRaise) {
  isQuiet = true;
  for (const auto& group : {insertions(), removals(), events()}) run(group);
}

}  // namespace
