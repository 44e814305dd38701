// Finding an item's event interface and connecting to it; what is asked and said when that fails.
#include "support/test_client.h"

namespace {

constexpr wchar_t kPlainEvents[] = L"{6C2E7E41-1C58-4B43-9D7D-0A3F2A5B7C21}";
constexpr wchar_t kDualEvents[] = L"{6C2E7E41-1C58-4B43-9D7D-0A3F2A5B7C22}";
constexpr LONG kNotDispinterface = -2147221503;
constexpr LONG kNoConnectionPoint = -2147221502;

std::wstring lastDescription() {
  ComPtr<IErrorInfo> error;
  Text description;
  return GetErrorInfo(0, error.put()) == S_OK && error->GetDescription(description.inout()) == S_OK
             ? std::wstring(description.view())
             : L"";
}

class Connecting : public LoudCollectionTest {};

TEST_F(Connecting, GoesByWhatTheItemTellsOfItself) {
  const GUID plain = __uuidof(Plain);
  const std::wstring custom = L"{6C2E7E41-1C58-4B43-9D7D-0A3F2A5B7C23}";
  const std::wstring place = L"{00020400-0000-0000-C000-000000000046}";
  const Behaviour vtableOnly = {
      .described = nullptr, .events = IID_IPropertyNotifySink, .enumerates = true};
  const struct {
    const char* what;
    Behaviour behaviour;
    bool heard;
    LONG failure;
    std::wstring sourceIID = {};
  } cases[] = {
      {"class of several, named as the interface", {.described = &__uuidof(_Shared)}, true, 0},
      {"class told by the object", {.described = &__uuidof(_Orphan), .classInfo = &plain}, true, 0},
      {"dual source", {.described = &__uuidof(_WithDual)}, false, kNotDispinterface},
      {"no type information: first point", {.described = nullptr, .enumerates = true}, true, 0},
      {"no default source: first point",
       {.described = &__uuidof(_NoDefault), .enumerates = true},
       true,
       0},
      {"dual first point",
       {.described = nullptr, .events = __uuidof(DualEvents), .enumerates = true},
       true,
       0},
      {"nothing to fall back on", {.described = nullptr}, false, kNoConnectionPoint},
      {"default source without a point: silent", {.events = IID_IEnumVARIANT}, false, 0},
      {"custom source, asked for by name",
       {.events = __uuidof(CustomEvents)},
       false,
       kNotDispinterface,
       custom},
      {"property changes, asked for by name",
       {.events = IID_IPropertyNotifySink},
       false,
       kNotDispinterface,
       L"{9BFBBC02-EFF1-101A-84ED-00AA00341D07}"},
      {"a control's place on a form", {.events = IID_IDispatch}, true, 0, place},
      {"a vtable sink is wanted: silent", vtableOnly, false, 0},
  };
  LONG reason = 0;
  client.onConnectionFailed = [&](BSTR*, LONG why) { reason = why; };
  for (const auto& [what, behaviour, heard, failure, sourceIID] : cases) {
    SCOPED_TRACE(what);
    client.heard.clear();
    reason = 0;
    const auto item = TestSource::make(behaviour);
    EXPECT_EQ(failure, add(z.get(), item.get(), {.sourceIID = sourceIID}));
    EXPECT_EQ(failure, reason);
    if (failure == kNotDispinterface) {
      const bool namesDual = lastDescription().find(L"and dual interfaces") != std::wstring::npos;
      EXPECT_EQ(!sourceIID.empty(), namesDual);
    }
    item->fire(1);
    EXPECT_EQ(heard ? 1u : 0u, client.heard.size());
    EXPECT_EQ(failure ? 0 : 1, countOf(z.get()));
    EXPECT_EQ(S_OK, z->Clear());
    EXPECT_EQ(1u, item->references);
  }
}

// A source may call the sink of a dual interface through Invoke or through the vtable, where the
// arguments are on the stack, and the callee takes them off.
TEST_F(Connecting, ToADualInterfaceHearsEitherRoad) {
  const auto item = added({.events = __uuidof(DualEvents)}, {.sourceIID = kDualEvents});
  auto* const sink = static_cast<DualEvents*>(item->sinks.at(0).get());
  item->fire(1);
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(S_OK, sink->Fired());  // the stack stays where it was
  EXPECT_EQ(1001u, client.heard.size());

  client.onEvent = [](SAFEARRAY** aParams) {
    set(element(aParams, 2), longValue(43));
    set(element(aParams, 6), makeValue(VT_BSTR, SysAllocString(L"out")));
  };
  const Text text(L"b");
  LONG number = 42, result = 99;
  BSTR garbage = reinterpret_cast<BSTR>(0x77);  // comes in as nothing, whatever stands there
  EXPECT_EQ(S_OK, sink->Values(1.5, text.get(), &number, longValue(7), VARIANT_TRUE, item.get(),
                               &garbage, &result));
  const Heard& values = client.heard.back();
  EXPECT_EQ(L"Values", values.name);
  EXPECT_EQ((std::vector<std::wstring>{L"1.5", L"b", L"42", L"7", L"True", L"?", L""}),
            values.arguments);
  EXPECT_EQ(std::tuple(43, 0), std::tuple(number, result));
  EXPECT_STREQ(L"out", garbage);
  SysFreeString(garbage);
}

TEST_F(Connecting, AsksTheClientWhenTheInterfaceIsNotFound) {
  const auto item = TestSource::make();
  const Placement unknown = {.key = L"k", .sourceIID = L"{6c2e7e41-1c58-4b43-9d7d-0a3f2a5b7cff}"};
  const std::tuple<std::wstring, bool, int> cases[] = {
      {unknown.sourceIID, false, 1},  // left alone
      {kUnknownSource, false, 1},     // only the case differs
      {kNoEvents, true, 1},           // without events, then
      {kPlainEvents, false, 3},       // only a signal to try again
  };
  for (const auto& [answer, isAdded, expectedAsked] : cases) {
    int asked = 0;
    client.onConnectionFailed = [&, answer = answer](BSTR* sourceIID, LONG reason) {
      EXPECT_EQ(kNoConnectionPoint, reason);
      EXPECT_EQ(unknown.sourceIID, zsupport::viewOf(*sourceIID)) << "a fresh copy each time";
      if (++asked < 3) SysReAllocString(sourceIID, answer.c_str());
    };
    EXPECT_EQ(isAdded ? S_OK : kNoConnectionPoint, add(z.get(), item.get(), unknown));
    EXPECT_EQ(expectedAsked, asked);
    EXPECT_EQ(isAdded ? 1 : 0, countOf(z.get()));
    EXPECT_EQ(S_OK, z->Clear());
  }
  // The caller's variable is looked at again at each try.
  Text variable(unknown.sourceIID), key;
  VARIANT none = missing();
  client.onConnectionFailed = [&](BSTR* sourceIID, LONG) {
    SysReAllocString(variable.inout(), kPlainEvents);
    SysReAllocString(sourceIID, L"again");
  };
  EXPECT_EQ(S_OK, z->Add(item.get(), variable.inout(), key.inout(), &none, &none));
  EXPECT_EQ(1u, item->sinks.size());
  EXPECT_EQ(S_OK, z->Clear());
  item->sinks.clear();
  client.onConnectionFailed = {};
  EXPECT_EQ(kNoConnectionPoint, add(z.get(), item.get(), {.sourceIID = L"no interface id"}));
}

void pumpUntilQuit() {
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
}

// Its type library does not carry every question over to this apartment.
TEST_F(Connecting, ToAnItemInAnotherApartmentWorks) {
  IStream* stream = nullptr;
  DWORD there = 0, cookie = 0;
  const DWORD here = GetCurrentThreadId();
  const HANDLE ready = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  std::thread other([&] {
    onFreshThread([&] {
      const auto source = newCollection();
      there = GetCurrentThreadId();
      EXPECT_EQ(S_OK, CoMarshalInterThreadInterfaceInStream(IID_IDispatch, source.get(), &stream));
      SetEvent(ready);
      pumpUntilQuit();
      TestClient probe(source.get());
      cookie = probe.cookie();
    });
    PostThreadMessageW(here, WM_QUIT, 0, 0);
  });
  WaitForSingleObject(ready, INFINITE);
  CloseHandle(ready);
  ComPtr<IDispatch> item;
  EXPECT_EQ(S_OK, CoGetInterfaceAndReleaseStream(stream, IID_IDispatch, item.putVoid()));
  EXPECT_EQ(S_OK, add(z.get(), item.get()));
  PostThreadMessageW(there, WM_QUIT, 0, 0);
  pumpUntilQuit();
  other.join();
  EXPECT_EQ(2u, cookie) << "the first was the collection's";
}

}  // namespace
