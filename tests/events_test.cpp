// From an item's event to the collection's: names, arguments and their way back.
#include "support/files.h"
#include "support/foreign_exception.h"
#include "support/test_client.h"

namespace {

class Events : public LoudCollectionTest {};

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
