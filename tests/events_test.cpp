// From an item's event to the collection's: discovery, names, arguments and their way back.
#include "support/files.h"
#include "support/foreign_exception.h"
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

class Events : public CollectionTest {
 protected:
  // An error of the collection's own: from here on, this thread's errors are raised.
  Events() { EXPECT_EQ(runtimeError(381), z->RemoveByIndex(0)); }

  TestClient client{z.get()};
};

// An element of the array that a handler gets, for the handler to change.
VARIANT& element(SAFEARRAY** aParams, LONG index) {
  return static_cast<VARIANT*>((*aParams)->pvData)[index];
}

void set(VARIANT& value, VARIANT content) {
  VariantClear(&value);
  value = content;
}

TEST_F(Events, ReachEveryClientAndLaterOnesSeeEarlierChanges) {
  added();
  const auto item = added();
  TestClient second(z.get());
  LONG number = 1;
  client.onEvent = [](SAFEARRAY** aParams) { set(element(aParams, 1), longValue(2)); };
  client.answer = DISP_E_EXCEPTION;  // a handler's error reaches nobody
  item->fire(2, {longValue(7), reference(VT_I4, &number)});
  ASSERT_EQ(1u, second.heard.size());
  const Heard& values = second.heard[0];
  EXPECT_EQ(std::tuple(2, item.get(), L"Values"),
            std::tuple(values.index, values.source, values.name));
  EXPECT_EQ((std::vector<std::wstring>{L"7", L"2"}), values.arguments);
  EXPECT_EQ(2, number);

  client.onEvent = [&](SAFEARRAY**) { second.disconnect(); };
  item->fire(1);
  EXPECT_EQ(1u, second.heard.size()) << "gone before its turn came";
}

TEST_F(Events, WithoutTypeInformationAreNamedByTheStandardTableThenInHexadecimal) {
  const auto unknown = added({.described = nullptr, .enumerates = true});
  EXPECT_EQ(S_OK, z->put_UseDISPID(VARIANT_FALSE));
  const std::pair<DISPID, std::wstring> cases[] = {
      {-600, L"Click"},
      {-601, L"FFFFFDA7"},
      {-607, L"MouseUp"},
      {-608, L"FFFFFDA0"},
  };
  for (const auto& [id, name] : cases) {
    unknown->fire(id);
    EXPECT_EQ(name, client.heard.back().name);
  }
  EXPECT_EQ(S_OK, z->put_UseDISPID(VARIANT_TRUE));
  unknown->fire(-601);
  EXPECT_EQ(L"#-601", client.heard.back().name);
}

TEST_F(Events, CarryChangesBackIntoByReferenceArguments) {
  const auto item = added(), object = TestSource::make(), other = TestSource::make();
  BYTE byte = 1;
  LONG number = 1;
  DECIMAL decimal{};
  BSTR text = SysAllocString(L"old");
  IDispatch* dispatch = ComPtr<IDispatch>(object.get()).detach();
  Variant variant;
  client.onEvent = [&](SAFEARRAY** aParams) {
    for (const LONG i : {0, 1, 5}) set(element(aParams, i), longValue(42));
    set(element(aParams, 2), longValue(7));  // becomes text
    set(element(aParams, 3), objectValue(ComPtr<IDispatch>(other.get()).detach()));
    set(element(aParams, 4), makeValue(VT_BSTR, SysAllocString(L"new")));
    V_DECIMAL(&element(aParams, 6)).Lo64 = 0x0807060504030201;
    V_VT(&element(aParams, 6)) = VT_DECIMAL;
  };
  item->fire(1, {reference(VT_UI1, &byte), reference(VT_I4, &number), reference(VT_BSTR, &text),
                 reference(VT_DISPATCH, &dispatch), reference(VT_VARIANT, variant.put()),
                 longValue(1), reference(VT_DECIMAL, &decimal)});
  EXPECT_EQ(1, byte) << "bytes are never written back";
  EXPECT_EQ(42, number);
  EXPECT_EQ(1, reinterpret_cast<BYTE*>(&decimal)[6]) << "two bytes before its place";
  EXPECT_STREQ(L"7", text);
  EXPECT_EQ(static_cast<IDispatch*>(other.get()), dispatch);
  EXPECT_EQ(1u, object->references) << "the object that was replaced is released";
  EXPECT_EQ(L"new", zsupport::toText(variant.get()).view());
  SysFreeString(text);
  dispatch->Release();
}

TEST_F(Events, MoveArraysToTheFiringObject) {
  const auto item = added();
  SAFEARRAY* const original = SafeArrayCreateVector(VT_I4, 0, 2);
  SAFEARRAY* variable = original;
  const auto after = item->fire(1, {reference(VT_ARRAY | VT_I4, &variable)});
  EXPECT_EQ(VT_EMPTY, V_VT(&after[0])) << "the argument is used up";
  ASSERT_NE(original, variable) << "the handler's array has moved in";
  EXPECT_EQ(2u, variable->rgsabound[0].cElements);
  SafeArrayDestroy(original);  // deliberately not freed by the collection
  SafeArrayDestroy(variable);
}

TEST_F(Events, SurviveWhateverAHandlerDoesToTheArray) {
  const auto item = added();
  LONG number = 1;
  static SAFEARRAYBOUND none = {0, 0}, many = {100, 0};
  const std::function<void(SAFEARRAY**)> deeds[] = {
      [](SAFEARRAY** a) { SafeArrayDestroy(*a), *a = nullptr; },
      [](SAFEARRAY** a) { SafeArrayDestroy(*a), *a = SafeArrayCreateVector(VT_I4, 0, 1); },
      [](SAFEARRAY** a) { SafeArrayDestroy(*a), *a = SafeArrayCreateVector(VT_VARIANT, 5, 1); },
      [](SAFEARRAY** a) { SafeArrayRedim(*a, &many), SafeArrayRedim(*a, &none); },
      [](SAFEARRAY** a) {  // of the platform's vectors it would be in the same block
        EXPECT_NE(static_cast<void*>(*a + 1), (*a)->pvData) << "and could not be resized";
      },
  };
  for (const auto& deed : deeds) {
    client.onEvent = deed;
    item->fire(2, {longValue(1), reference(VT_I4, &number)});
    EXPECT_EQ(1, number);
  }
  client.onEvent = {};
  item->fire(1, {reference(VT_I4, nullptr), reference(VT_BSTR, nullptr)});
  EXPECT_EQ(S_OK, item->sinks.at(0)->Invoke(1, IID_NULL, 0, 0, nullptr, nullptr, nullptr, nullptr));
  // Nothing, or more than any event has: an event without arguments.
  VARIANTARG argument = longValue(1);
  for (const UINT count : {1u << 15, 1u << 28, ~0u >> 1, ~0u}) {
    DISPPARAMS absurd = {&argument, nullptr, count, 0};
    EXPECT_EQ(S_OK,
              item->sinks.at(0)->Invoke(1, IID_NULL, 0, 0, &absurd, nullptr, nullptr, nullptr));
  }
  EXPECT_TRUE(client.heard.back().arguments.empty());
}

// On a thread with a megabyte of stack: an item that fires itself again. The event that finds no
// room is dropped, and that is recorded.
DWORD WINAPI fireEndlessly(void*) {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  {
    const auto z = newCollection();
    TestClient client(z.get());
    const auto endless = TestSource::make();
    EXPECT_EQ(S_OK, add(z.get(), endless.get()));
    client.onEvent = [&](SAFEARRAY**) {
      ASSERT_LT(client.heard.size(), 1'000'000u);
      endless->fire(1);
    };
    endless->fire(1);
    EXPECT_GT(client.heard.size(), 100u);
    client.onEvent = {};
    client.heard.clear();
    endless->fire(1);
    EXPECT_EQ(1u, client.heard.size()) << "heard again";
  }
  CoUninitialize();
  return 0;
}

TEST_F(Events, NestAsDeepAsTheStackAllows) {
  constexpr wchar_t kDebug[] = L"Software\\Zarnow Instruments Ltd.\\System\\ZSupport\\Debug";
  wchar_t log[MAX_PATH];
  GetTempPathW(MAX_PATH, log);
  wcscat(log, L"ZSupportTestStack.log");
  RegSetKeyValueW(HKEY_CURRENT_USER, kDebug, L"LogFile", REG_SZ, log, sizeof log);
  const HANDLE thread = CreateThread(nullptr, 1 << 20, fireEndlessly, nullptr,
                                     STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
  RegDeleteTreeW(HKEY_CURRENT_USER, kDebug);
  EXPECT_NE(std::string::npos, contentOf(log).find("\tSub RaiseTheEvent\t28\t"));
  DeleteFileW(log);
}

ULONG holdersOf(IUnknown* object) {
  object->AddRef();
  return object->Release();
}

// A handler of another language leaves by an exception that our frames know nothing of, more often
// than anything of ours might be counted. Whoever fired, or called, catches it.
TEST_F(Events, SurviveForeignExceptionsOfTheirHandlers) {
  constexpr int kTimes = 200;
  const auto item = added({}, {.key = L"k"});
  LONG number = 1;
  const ULONG holders = holdersOf(z.get());
  client.onEvent = [](SAFEARRAY**) { ForeignException::raise(); };
  for (int i = 0; i < kTimes; ++i) {
    EXPECT_TRUE(ForeignException::leaves([&] { item->fire(2, {reference(VT_I4, &number)}); }));
    item->Release();  // its own, that fire has left behind
  }
  client.onEvent = {};
  item->fire(1);
  EXPECT_EQ(kTimes + 1u, client.heard.size()) << "heard as before";

  const auto refused = TestSource::make();
  client.onConnectionFailed = [](BSTR*, LONG) { ForeignException::raise(); };
  const Placement unknown = {.key = L"x", .before = longValue(1), .sourceIID = kUnknownSource};
  EXPECT_TRUE(ForeignException::leaves([&] { add(z.get(), refused.get(), unknown); }));
  EXPECT_EQ(1u, refused->references);
  EXPECT_FALSE(keyExists(z.get(), L"x"));

  for (const bool fromUnadvise : {true, false}) {
    Behaviour behaviour;
    (fromUnadvise ? behaviour.onUnadvise : behaviour.onDestroy) = ForeignException::raise;
    const auto leave = [&](const std::function<void()>& way) {
      added(behaviour, {.key = L"thrower"});
      EXPECT_TRUE(ForeignException::leaves(way));
      EXPECT_FALSE(keyExists(z.get(), L"thrower"));
    };
    leave([&] { z->RemoveByIndex(countOf(z.get())); });
    leave([&] { z->RemoveByKey(Text(L"thrower").get()); });
    leave([&] { z->Clear(); });
    EXPECT_EQ(0, countOf(z.get()));
    ASSERT_EQ(S_OK, add(z.get(), item.get(), {.key = L"k"})) << "usable again";
    EXPECT_EQ(2u, item->references);
  }
  EXPECT_EQ(holders, holdersOf(z.get()));
}

TEST_F(Events, ConnectByWhatTheItemTellsOfItself) {
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
TEST_F(Events, OfDualInterfacesComeThroughEitherRoad) {
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

TEST_F(Events, AskTheClientWhenTheInterfaceIsNotFound) {
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
TEST_F(Events, OfAnItemInAnotherApartmentAreConnected) {
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

// Directly, twice, and round a corner: each event is heard once in each collection.
TEST_F(Events, DoNotComeRoundToACollectionAgain) {
  const auto corner = newCollection();
  TestClient cornerClient(corner.get());
  const auto item = added();
  for (_Zollection* const contained : {z.get(), z.get(), corner.get()}) {
    ASSERT_EQ(S_OK, add(z.get(), contained));
  }
  ASSERT_EQ(S_OK, add(corner.get(), z.get()));
  item->fire(1);
  ASSERT_EQ(1u, client.heard.size());
  EXPECT_EQ(L"Fired", client.heard[0].name);
  ASSERT_EQ(1u, cornerClient.heard.size());
  EXPECT_EQ(L"EventRaised", cornerClient.heard[0].name);
  // A handler that fires begins a new way.
  client.onEvent = [&](SAFEARRAY**) {
    client.onEvent = {};
    item->fire(1);
  };
  item->fire(1);
  EXPECT_EQ(3u, client.heard.size());
  EXPECT_EQ(S_OK, z->Clear());
  EXPECT_EQ(S_OK, corner->Clear());
}

TEST_F(Events, OfAnItemThatCannotLetGoEndAllTheSame) {
  for (const HRESULT failure : {E_FAIL, CONNECT_E_NOCONNECTION}) {
    const auto item = added({.unadviseResult = E_FAIL}, {.key = L"k"});
    if (failure == CONNECT_E_NOCONNECTION) item->behaviour.events = IID_IEnumVARIANT;
    EXPECT_EQ(failure, z->RemoveByIndex(1));
    EXPECT_EQ(0, countOf(z.get()));
    EXPECT_FALSE(keyExists(z.get(), L"k"));
    EXPECT_EQ(1u, item->references);
    item->behaviour = {};
    EXPECT_EQ(S_OK, add(z.get(), item.get())) << "usable again";
    EXPECT_EQ(S_OK, z->Clear());
  }
}

TEST_F(Events, MayBeTheEndOfTheCollection) {
  const auto item = added();
  client.onEvent = [&](SAFEARRAY**) {
    client.disconnect();
    z.reset();
  };
  item->fire(1);
  EXPECT_EQ(1u, item->references);
  EXPECT_FALSE(item->sinks.at(0)) << "withdrawn when the collection went";
}

}  // namespace
