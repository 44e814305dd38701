// Late-bound callers: every form in which arguments come, and what goes back into them.
#include <algorithm>

#include "support/late_call.h"
#include "support/test_source.h"

namespace {

class LateBound : public testing::Test {
 protected:
  HRESULT invoke(std::wstring name, int flags, std::vector<VARIANT> arguments, std::vector<DISPID> names = {}) {
    call(last, z.get(), idOf(z.get(), name), flags, std::move(arguments), std::move(names));
    return last.result;
  }
  LONG lastLong() { return V_VT(&last.value.get()) == VT_I4 ? V_I4(&last.value.get()) : -99; }

  ComPtr<_Zollection> z = newCollection();
  ComPtr<TestSource> item = TestSource::make();
  Call last{};
};

TEST_F(LateBound, TakesArgumentsByPositionNameAndDefault) {
  const Text key(L"k"), otherKey(L"l");
  enum { kItem, kSourceIID, kKey, kBefore, kAfter };
  EXPECT_EQ(S_OK, invoke(L"Add", DISPATCH_METHOD, {objectValue(item.get())}));
  EXPECT_EQ(S_OK,
            invoke(L"Add", DISPATCH_METHOD, {objectValue(item.get()), longValue(1), textValue(key)}, {kBefore, kKey}));
  EXPECT_EQ(S_OK, invoke(L"Add", DISPATCH_METHOD,
                         {objectValue(item.get()), missing(), textValue(otherKey), missing(), longValue(1)}));
  EXPECT_EQ(S_OK, invoke(L"IndexFromKey", DISPATCH_METHOD, {textValue(key)}));
  EXPECT_EQ(1, lastLong());
  EXPECT_EQ(S_OK, invoke(L"IndexFromKey", DISPATCH_METHOD | DISPATCH_PROPERTYGET, {textValue(otherKey)}));
  EXPECT_EQ(2, lastLong());
}

TEST_F(LateBound, CallsMembersInEveryWayThatScriptsDo) {
  ASSERT_EQ(S_OK, add(z.get(), item.get(), {.key = L"k"}));
  const Text key(L"k"), number(L" 1 ");
  VARIANT one = longValue(1), nested = reference(VT_VARIANT, &one);
  SHORT integer = 1;
  const VARIANT forms[] = {longValue(1),
                           doubleValue(1.4),
                           textValue(key),
                           nested,
                           reference(VT_VARIANT, &nested),
                           reference(VT_I2, &integer)};
  for (const VARIANT& form : forms) {
    for (const int flags : {DISPATCH_METHOD, DISPATCH_PROPERTYGET, DISPATCH_METHOD | DISPATCH_PROPERTYGET}) {
      EXPECT_EQ(S_OK, invoke(L"Item", flags, {form})) << V_VT(&form);
      EXPECT_EQ(static_cast<IDispatch*>(item.get()), V_DISPATCH(&last.value.get()));
    }
  }
  EXPECT_EQ(S_OK, invoke(L"Count", DISPATCH_METHOD, {}));
  EXPECT_EQ(1, lastLong());
  EXPECT_EQ(S_OK, invoke(L"ItemByIndex", DISPATCH_METHOD, {textValue(number)})) << "text to Long";
  for (const int flags : {DISPATCH_METHOD, DISPATCH_PROPERTYGET}) {
    call(last, z.get(), DISPID_NEWENUM, flags, {});
    EXPECT_EQ(S_OK, last.result);
    EXPECT_EQ(VT_UNKNOWN, V_VT(&last.value.get()));
  }
  for (const int flags : {DISPATCH_PROPERTYPUT, DISPATCH_PROPERTYPUTREF}) {
    EXPECT_EQ(S_OK, invoke(L"Increment", flags, {longValue(1600)}, {DISPID_PROPERTYPUT}));
  }
  EXPECT_EQ(S_OK, invoke(L"Key", DISPATCH_PROPERTYPUT, {longValue(1), textValue(number)}, {DISPID_PROPERTYPUT}));
  EXPECT_FALSE(keyExists(z.get(), L"k"));
}

TEST_F(LateBound, RefusesWhatDoesNotFitAndCallsNothing) {
  const Text word(L"word");
  const struct {
    const wchar_t* member;
    WORD flags;
    std::vector<VARIANT> arguments;
    std::vector<DISPID> names;
    HRESULT result;
    UINT bad;
  } cases[] = {
      {L"Add", DISPATCH_METHOD, {}, {}, DISP_E_BADPARAMCOUNT, 0},
      {L"Add", DISPATCH_METHOD, std::vector<VARIANT>(6, longValue(1)), {}, DISP_E_BADPARAMCOUNT, 0},
      {L"Add", DISPATCH_METHOD, {missing(), textValue(word)}, {}, DISP_E_PARAMNOTOPTIONAL, 1},
      {L"Add", DISPATCH_METHOD, {textValue(word)}, {}, DISP_E_TYPEMISMATCH, 0},
      {L"Add", DISPATCH_METHOD, {longValue(1)}, {77}, DISP_E_PARAMNOTFOUND, 0},
      {L"ItemByIndex", DISPATCH_METHOD, {textValue(word)}, {}, DISP_E_TYPEMISMATCH, 0},
      {L"ItemByIndex", DISPATCH_METHOD, {doubleValue(1e10)}, {}, DISP_E_OVERFLOW, 0},
      {L"ItemByIndex", DISPATCH_METHOD, {reference(VT_VARIANT, nullptr)}, {}, DISP_E_TYPEMISMATCH, 0},
      {L"ItemByIndex", DISPATCH_METHOD, {reference(VT_I4, nullptr)}, {}, DISP_E_TYPEMISMATCH, 0},
      {L"Key", DISPATCH_PROPERTYPUT, {textValue(word), textValue(word)}, {DISPID_PROPERTYPUT}, DISP_E_TYPEMISMATCH, 1},
      {L"Count", DISPATCH_PROPERTYPUT, {longValue(1)}, {DISPID_PROPERTYPUT}, DISP_E_MEMBERNOTFOUND, 99},
      {L"Clear", 0, {}, {}, DISP_E_MEMBERNOTFOUND, 99},
  };
  ASSERT_EQ(S_OK, add(z.get(), item.get()));
  for (const auto& [member, flags, arguments, names, result, bad] : cases) {
    last.badArgument = 99;
    EXPECT_EQ(result, invoke(member, flags, arguments, names)) << member;
    EXPECT_EQ(bad, last.badArgument) << member;
    EXPECT_EQ(1, countOf(z.get()));
  }
  DISPID id;
  LPOLESTR names[] = {const_cast<LPOLESTR>(L"NoSuchMember")};
  EXPECT_EQ(DISP_E_UNKNOWNNAME, z->GetIDsOfNames(IID_NULL, names, 1, 0, &id));
  LPOLESTR parameters[] = {const_cast<LPOLESTR>(L"ADD"), const_cast<LPOLESTR>(L"after")};
  DISPID ids[2];
  EXPECT_EQ(S_OK, z->GetIDsOfNames(IID_NULL, parameters, 2, 0, ids));
  EXPECT_EQ(4, ids[1]);
  EXPECT_EQ(DISP_E_UNKNOWNINTERFACE, z->Invoke(2, IID_IDispatch, 0, 1, nullptr, nullptr, nullptr, nullptr));
}

TEST_F(LateBound, DescribesFailuresOfMembers) {
  EXPECT_EQ(DISP_E_EXCEPTION, invoke(L"RemoveByIndex", DISPATCH_METHOD, {longValue(0)}));
  EXPECT_EQ(runtimeError(381), last.number);
  EXPECT_EQ(L"System\\ZSupport.Zollection::Sub RemoveByIndex!Zollection.RemoveByIndex", last.source);
  EXPECT_EQ(L"Invalid property array index", last.description);
  VARIANT zero = longValue(0);
  DISPPARAMS one = {&zero, nullptr, 1, 0};
  EXPECT_EQ(DISP_E_EXCEPTION, z->Invoke(DISPID_VALUE, IID_NULL, 0, DISPATCH_METHOD, &one, nullptr, nullptr, nullptr))
      << "no place for details";
}

// bNoPolicySet comes back as True into whatever the caller has.
TEST(LateBoundReferences, ReturnValuesInTheCallersOwnForm) {
  const auto support = newSupport();
  const DISPID get = idOf(support.get(), L"GetRegistryValue");
  const Text name(L"no such value"), section(L"Software\\NoSuchCompany");
  VARIANT_BOOL boolean = VARIANT_FALSE;
  LONG number = 7;
  DECIMAL decimal{};
  BYTE byte = 7;
  Text text(L"False");
  Variant empty, integer;
  *integer.operator->() = longValue(1);
  VARIANT inner = reference(VT_I4, &number);
  Call outcome{};
  for (const VARIANT& place :
       {reference(VT_BOOL, &boolean), reference(VT_VARIANT, empty.operator->()),
        reference(VT_VARIANT, integer.operator->()), reference(VT_VARIANT, &inner), reference(VT_BSTR, text.inout()),
        reference(VT_UI1, &byte), reference(VT_DECIMAL, &decimal), valueOfType(VT_BOOL), missing()}) {
    call(outcome, support.get(), get, DISPATCH_METHOD, {textValue(name), longValue(42), textValue(section), place});
    EXPECT_EQ(S_OK, outcome.result) << V_VT(&place);
    EXPECT_EQ(42, V_I4(&outcome.value.get()));
  }
  EXPECT_EQ(VARIANT_TRUE, boolean);
  EXPECT_EQ(VT_BOOL, V_VT(&empty.get())) << "a variable takes the value as it is";
  EXPECT_EQ(VARIANT_TRUE, V_BOOL(&integer.get()));
  EXPECT_EQ(-1, number) << "a Long takes it as a Long";
  EXPECT_EQ(L"True", text.view());
  EXPECT_NE(7, byte);
  EXPECT_EQ(1u, decimal.Lo64);

  // An argument that is converted on its way in, and not changed, stays what it was.
  Variant sectionVariable;
  V_VT(sectionVariable.operator->()) = VT_I4;
  call(outcome, support.get(), get, DISPATCH_METHOD,
       {textValue(name), longValue(42), reference(VT_VARIANT, sectionVariable.operator->())});
  EXPECT_EQ(VT_I4, V_VT(&sectionVariable.get()));
}

TEST(LateBoundReferences, CarryArraysInsideVariants) {
  const auto support = newSupport();
  const Text name(L"no such value"), section(L"Software\\NoSuchCompany");
  SAFEARRAY* array = SafeArrayCreateVector(VT_I4, 3, 2);
  VARIANT inside = valueOfType(VT_ARRAY | VT_I4), nested = reference(VT_VARIANT, &inside);
  V_ARRAY(&inside) = array;
  for (const VARIANT& form :
       {inside, reference(VT_ARRAY | VT_I4, &array), reference(VT_VARIANT, &inside), reference(VT_VARIANT, &nested)}) {
    Call outcome{};
    call(outcome, support.get(), idOf(support.get(), L"GetRegistryValue"), DISPATCH_METHOD,
         {textValue(name), form, textValue(section)});
    ASSERT_EQ(VT_ARRAY | VT_I4, V_VT(&outcome.value.get()));
    EXPECT_NE(array, V_ARRAY(&outcome.value.get())) << "a copy of its own";
    EXPECT_EQ(3, V_ARRAY(&outcome.value.get())->rgsabound[0].lLbound);
  }
  SafeArrayDestroy(array);
}

TEST(CollectionFace, ServesClientsOfStandardCollections) {
  const auto z = newCollection();
  const auto face = ComPtr<_Collection>::from(z.get());
  ASSERT_TRUE(face);
  EXPECT_EQ(ComPtr<IUnknown>::from(z.get()).get(), ComPtr<IUnknown>::from(face.get()).get());
  const auto item = TestSource::make();
  IDispatch* const object = item.get();
  IDispatch* variable = object;
  const Text keyText(L"k");
  VARIANT none = missing(), key = textValue(keyText), one = longValue(1);
  VARIANT byValue = objectValue(object), byReference = reference(VT_DISPATCH, &variable);
  VARIANT nobody = objectValue(nullptr), word = textValue(keyText), numberKey = longValue(5);
  LONG count = 0;
  EXPECT_EQ(S_OK, face->Add(&byValue, &key, &none, &none));
  EXPECT_EQ(S_OK, face->Add(&byReference, &numberKey, &one, &none));
  EXPECT_EQ(runtimeError(5), face->Add(&word, &none, &none, &none));
  EXPECT_EQ(L"Invalid procedure call or argument - Item must be an Object", lastError().description);
  EXPECT_EQ(runtimeError(7), face->Add(&nobody, &none, &none, &none));
  EXPECT_EQ(E_POINTER, face->Add(nullptr, &none, &none, &none));
  EXPECT_EQ(S_OK, face->Count(&count));
  EXPECT_EQ(2, count);
  EXPECT_TRUE(keyExists(z.get(), L"5"));
  Variant found;
  EXPECT_EQ(S_OK, face->Item(&key, found.put()));
  EXPECT_EQ(object, V_DISPATCH(&found.get()));
  EXPECT_EQ(E_POINTER, face->Item(&key, nullptr));
  EXPECT_EQ(S_OK, face->Remove(&one));

  // Late bound, the same numbers mean other members than on the default interface.
  Call outcome{};
  call(outcome, face.get(), 2, DISPATCH_METHOD, {});
  EXPECT_EQ(1, V_I4(&outcome.value.get()));
  call(outcome, face.get(), 1, DISPATCH_METHOD, {byValue});
  EXPECT_EQ(S_OK, outcome.result);
  EXPECT_EQ(2, countOf(z.get()));
}

TEST(Enumerator, DeliversOneItemACallFromALiveViewOfFrozenLength) {
  auto z = newCollection();
  ComPtr<IEnumVARIANT> items;
  ASSERT_EQ(S_OK, z->NewEnum(items.put()));
  ULONG fetched = 7;
  VARIANT value[3];
  EXPECT_EQ(S_FALSE, items->Next(1, value, &fetched));
  EXPECT_EQ(0u, fetched);
  std::vector<ComPtr<TestSource>> sources;
  for (int i = 0; i < 4; ++i) {
    sources.push_back(TestSource::make());
    ASSERT_EQ(S_OK, add(z.get(), sources[static_cast<size_t>(i)].get()));
    if (i == 2) z->NewEnum(items.put());
  }
  const auto nextIs = [&](TestSource* expected) {
    const HRESULT result = items->Next(3, value, &fetched);
    EXPECT_EQ(expected ? 1u : 0u, fetched);
    EXPECT_EQ(expected ? S_OK : S_FALSE, result);
    if (result != S_OK) return;
    EXPECT_EQ(static_cast<IDispatch*>(expected), V_DISPATCH(&value[0]));
    VariantClear(&value[0]);
  };
  for (const auto i : {0, 1, 2}) nextIs(sources[static_cast<size_t>(i)].get());
  nextIs(nullptr);
  EXPECT_EQ(S_OK, items->Reset());
  EXPECT_EQ(S_OK, items->Skip(2));
  nextIs(sources[2].get());
  EXPECT_EQ(S_OK, items->Skip(1000));
  nextIs(nullptr);
  EXPECT_EQ(runtimeError(6), items->Skip(0xFFFFFFFF));
  EXPECT_EQ(E_NOTIMPL, items->Clone(nullptr));
  EXPECT_EQ(E_POINTER, items->Next(1, nullptr, nullptr));

  items->Reset();
  ASSERT_EQ(S_OK, z->RemoveByIndex(1));
  nextIs(sources[1].get());
  ASSERT_EQ(S_OK, z->Clear());
  nextIs(nullptr);
  z.reset();
  items->Reset();
  nextIs(nullptr);  // long after the collection
}

// A client that has nothing but the registered type library: no header, no names of ours.
TEST(Clients, KnowingOnlyTheTypeLibraryCallThroughIt) {
  CLSID id;
  ASSERT_EQ(S_OK, CLSIDFromProgID(L"ZSupport.Zollection", &id));
  ComPtr<IDispatch> z;
  ASSERT_EQ(S_OK, CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, z.putVoid()));
  GUID libraryId;
  IIDFromString(L"{EB457140-75E3-41DC-9BFB-3361FC42A7B6}", &libraryId);
  ComPtr<ITypeLib> library;
  ASSERT_EQ(S_OK, LoadRegTypeLib(libraryId, 1, 0, 0, library.put()));
  ComPtr<ITypeInfo> described, info;
  ASSERT_EQ(S_OK, z->GetTypeInfo(0, 0, described.put()));
  TYPEATTR* attributes;
  ASSERT_EQ(S_OK, described->GetTypeAttr(&attributes));
  ASSERT_EQ(S_OK, library->GetTypeInfoOfGuid(attributes->guid, info.put()));
  ComPtr<IUnknown> face;
  ASSERT_EQ(S_OK, z->QueryInterface(attributes->guid, face.putVoid()));
  described->ReleaseTypeAttr(attributes);
  VARIANT index = longValue(0);
  DISPPARAMS none{}, one = {&index, nullptr, 1, 0};
  Variant result;
  EXCEPINFO exception{};
  EXPECT_EQ(S_OK, info->Invoke(face.get(), idOf(z.get(), L"Count"), DISPATCH_PROPERTYGET, &none, result.put(), nullptr,
                               nullptr));
  EXPECT_EQ(0, V_I4(&result.get()));
  EXPECT_EQ(DISP_E_EXCEPTION, info->Invoke(face.get(), idOf(z.get(), L"RemoveByIndex"), DISPATCH_METHOD, &one, nullptr,
                                           &exception, nullptr));
  EXPECT_EQ(runtimeError(381), exception.scode);
  for (BSTR text : {exception.bstrSource, exception.bstrDescription, exception.bstrHelpFile}) { SysFreeString(text); }
}

// Another apartment reaches the collection through the platform's type-library marshaller.
TEST(Clients, InAnotherApartmentUseTheStandardMarshaller) {
  const auto z = newCollection();
  const auto item = TestSource::make();
  ASSERT_EQ(S_OK, add(z.get(), item.get(), {.key = L"k"}));
  IStream* stream = nullptr;
  ASSERT_EQ(S_OK, CoMarshalInterThreadInterfaceInStream(__uuidof(_Zollection), z.get(), &stream));
  const DWORD owner = GetCurrentThreadId();
  std::thread other([&] {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    {
      ComPtr<_Zollection> proxy;
      EXPECT_EQ(S_OK, CoGetInterfaceAndReleaseStream(stream, __uuidof(_Zollection), proxy.putVoid()));
      EXPECT_NE(z.get(), proxy.get());
      EXPECT_EQ(1, countOf(proxy.get()));
      EXPECT_TRUE(keyExists(proxy.get(), L"k"));
      EXPECT_EQ(runtimeError(381), proxy->RemoveByIndex(9));
      Call outcome{};
      call(outcome, proxy.get(), idOf(proxy.get(), L"Count"), DISPATCH_PROPERTYGET, {});
      EXPECT_EQ(1, V_I4(&outcome.value.get()));
    }
    CoUninitialize();
    PostThreadMessageW(owner, WM_QUIT, 0, 0);
  });
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
  other.join();
}

}  // namespace
