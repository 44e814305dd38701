// The demo: objects of two quite different kinds in one Zollection, and one handler for all of
// their events. A plain COM client: it knows the library's header and its registered class, and
// nothing of its inside.
//
// To run it: ./dev demo
#include <windows.h>
#include <ocidl.h>
#include <oleauto.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "ZSupport.h"
#include "thermometer_class.h"

namespace {

void require(HRESULT result, const wchar_t* what) {
  if (SUCCEEDED(result)) return;
  std::wprintf(L"%ls failed: 0x%08lX\n", what, static_cast<unsigned long>(result));
  std::exit(1);
}

// A value as a reader would write it.
std::wstring show(const VARIANT& value) {
  if (V_VT(&value) == VT_BSTR) return L'"' + std::wstring(V_BSTR(&value)) + L'"';
  VARIANT text;
  VariantInit(&text);
  std::wstring shown = L"?";
  if (SUCCEEDED(
          VariantChangeType(&text, const_cast<VARIANT*>(&value), VARIANT_ALPHABOOL, VT_BSTR))) {
    shown = V_BSTR(&text);
  }
  VariantClear(&text);
  return shown;
}

// The one handler. In VB it would be: Private Sub z_EventRaised(...)
class Handler final : public IDispatch {
 public:
  explicit Handler(_Zollection* collection) : collection_(collection) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    *object = nullptr;
    if (id != IID_IUnknown && id != IID_IDispatch && id != __uuidof(__Zollection)) {
      return E_NOINTERFACE;
    }
    *object = this;
    return S_OK;
  }
  // Lives on main's stack.
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID event, REFIID, LCID, WORD, DISPPARAMS* arguments,
                                   VARIANT*, EXCEPINFO*, UINT*) override {
    if (event != 1 || arguments->cArgs != 4) return S_OK;
    const VARIANTARG* const last = arguments->rgvarg;  // the last one first
    eventRaised(V_I4(&last[3]), V_BSTR(&last[1]), *V_ARRAYREF(&last[0]));
    return S_OK;
  }

 private:
  void eventRaised(LONG index, BSTR name, SAFEARRAY* parameters) {
    BSTR key = nullptr;
    require(collection_->get_Key(index, &key), L"Key");
    std::wprintf(L"  EventRaised  position %ld  key %-9ls %ls(", index, key, name);
    SysFreeString(key);

    VARIANT* values = nullptr;
    require(SafeArrayAccessData(parameters, reinterpret_cast<void**>(&values)), L"aParams");
    const ULONG count = parameters->rgsabound[0].cElements;
    for (ULONG i = 0; i < count; ++i) {
      std::wprintf(L"%ls%ls", i ? L", " : L"", show(values[i]).c_str());
    }
    std::wprintf(L")\n");
    if (std::wstring(name) == L"Reading") {
      // Changing an element changes the argument of the object that fired.
      V_I4(&values[0]) = V_I4(&values[0]) - 2;
      SysReAllocString(&V_BSTR(&values[1]), L"calibrated by the handler");
    }
    SafeArrayUnaccessData(parameters);
  }

  _Zollection* collection_;
};

void add(_Zollection* collection, IDispatch* item, const wchar_t* key) {
  BSTR keyText = SysAllocString(key);
  BSTR sourceIID = nullptr;  // the item's own default event interface
  VARIANT missing;
  V_VT(&missing) = VT_ERROR;
  V_ERROR(&missing) = DISP_E_PARAMNOTFOUND;
  require(collection->Add(item, &sourceIID, &keyText, &missing, &missing), L"Add");
  std::wprintf(L"  Add          key %ls\n", key);
  SysFreeString(keyText);
}

// A browser control of the platform: fires when one of its properties is set.
IDispatch* createBrowser() {
  CLSID id;
  IDispatch* browser = nullptr;
  require(CLSIDFromProgID(L"Shell.Explorer.2", &id), L"Shell.Explorer.2");
  require(CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                           reinterpret_cast<void**>(&browser)),
          L"Shell.Explorer.2");
  return browser;
}

void putTrue(IDispatch* object, const wchar_t* property) {
  DISPID id = DISPID_UNKNOWN;
  auto* name = const_cast<wchar_t*>(property);
  require(object->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id), property);
  VARIANTARG value;
  V_VT(&value) = VT_BOOL;
  V_BOOL(&value) = VARIANT_TRUE;
  DISPID put = DISPID_PROPERTYPUT;
  DISPPARAMS parameters = {&value, &put, 1, 1};
  object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYPUT, &parameters, nullptr,
                 nullptr, nullptr);
}

void measure(_Thermometer* thermometer, LONG celsius, const wchar_t* remark) {
  BSTR text = SysAllocString(remark);
  require(thermometer->Measure(&celsius, &text), L"Measure");
  std::wprintf(L"    back at the thermometer: %ld, \"%ls\"\n", celsius, text);
  SysFreeString(text);
}

void run() {
  _Zollection* collection = nullptr;
  require(CoCreateInstance(__uuidof(Zollection), nullptr, CLSCTX_INPROC_SERVER,
                           __uuidof(_Zollection), reinterpret_cast<void**>(&collection)),
          L"ZSupport.Zollection");

  std::wprintf(L"One handler for everything that goes into this collection:\n");
  IConnectionPointContainer* container = nullptr;
  IConnectionPoint* point = nullptr;
  DWORD cookie = 0;
  Handler handler(collection);
  require(collection->QueryInterface(IID_IConnectionPointContainer,
                                     reinterpret_cast<void**>(&container)),
          L"IConnectionPointContainer");
  require(container->FindConnectionPoint(__uuidof(__Zollection), &point), L"FindConnectionPoint");
  require(point->Advise(&handler, &cookie), L"Advise");

  IDispatch* const left = createBrowser();
  IDispatch* const right = createBrowser();
  _Thermometer* const kitchen = createThermometer();
  _Thermometer* const cellar = createThermometer();
  if (!kitchen || !cellar) require(E_OUTOFMEMORY, L"Thermometer");
  add(collection, left, L"left");
  add(collection, kitchen, L"kitchen");
  add(collection, right, L"right");
  add(collection, cellar, L"cellar");

  std::wprintf(L"\nThe browser controls of the platform fire when their properties change:\n");
  putTrue(left, L"Visible");
  putTrue(right, L"MenuBar");
  putTrue(right, L"StatusBar");

  std::wprintf(
      L"\nThe thermometers fire with arguments by reference, so the handler can answer:\n");
  measure(kitchen, 23, L"as measured");
  measure(cellar, 11, L"as measured");

  std::wprintf(L"\nOut of the collection, out of earshot; positions follow:\n");
  BSTR key = SysAllocString(L"left");
  require(collection->RemoveByKey(key), L"RemoveByKey");
  SysFreeString(key);
  std::wprintf(L"  RemoveByKey  key left\n");
  putTrue(left, L"ToolBar");
  putTrue(right, L"ToolBar");

  point->Unadvise(cookie);
  point->Release();
  container->Release();
  require(collection->Clear(), L"Clear");
  collection->Release();
  for (IDispatch* const object : {left, right}) object->Release();
  for (_Thermometer* const thermometer : {kitchen, cellar}) thermometer->Release();
}

}  // namespace

int wmain() {
  std::setlocale(LC_ALL, "");
  require(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), L"CoInitializeEx");
  run();
  CoUninitialize();
  return 0;
}
