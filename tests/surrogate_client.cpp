// A 64-bit client of the 32-bit library, which runs in a process of the platform's: events come
// back.
#include <windows.h>
#include <ocidl.h>
#include <oleauto.h>

#include <cstdio>

#include "ZSupport.h"
#include "support/dispatch_stub.h"

namespace {

class Client final : public DispatchStub {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    const bool isKnown = id == IID_IUnknown || id == IID_IDispatch || id == __uuidof(__Zollection);
    *object = isKnown ? this : nullptr;
    return isKnown ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID event, REFIID, LCID, WORD, DISPPARAMS* given, VARIANT*,
                                   EXCEPINFO*, UINT*) override {
    // ConnectionFailed
    if (event == 2 && given->cArgs == 3) {
      std::printf("asked about %ls, reason %ld\n", *V_BSTRREF(&given->rgvarg[1]),
                  V_I4(&given->rgvarg[0]));
    }
    return S_OK;
  }
};

IDispatch* create() {
  IDispatch* object = nullptr;
  const HRESULT result = CoCreateInstance(__uuidof(Zollection), nullptr, CLSCTX_LOCAL_SERVER,
                                          IID_IDispatch, reinterpret_cast<void**>(&object));
  if (FAILED(result)) std::printf("not created: 0x%08lX\n", static_cast<unsigned long>(result));
  return object;
}

int wmain() {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  IDispatch *z = create(), *item = create();
  if (!z || !item) return 1;
  IConnectionPointContainer* container = nullptr;
  IConnectionPoint* point = nullptr;
  Client client;
  DWORD cookie = 0;
  if (FAILED(
          z->QueryInterface(IID_IConnectionPointContainer, reinterpret_cast<void**>(&container))) ||
      FAILED(container->FindConnectionPoint(__uuidof(__Zollection), &point)) ||
      FAILED(point->Advise(&client, &cookie))) {
    std::puts("not connected");
    return 1;
  }
  // Late bound: item and source interface.
  LPOLESTR name = const_cast<LPOLESTR>(L"Add");
  DISPID id = 0;
  VARIANT arguments[2];
  V_VT(&arguments[1]) = VT_DISPATCH;
  V_DISPATCH(&arguments[1]) = item;
  V_VT(&arguments[0]) = VT_BSTR;
  V_BSTR(&arguments[0]) = SysAllocString(L"{11111111-2222-3333-4444-555555555555}");
  DISPPARAMS parameters = {arguments, nullptr, 2, 0};
  z->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id);
  z->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, nullptr, nullptr,
            nullptr);
  CoUninitialize();
  return 0;
}
