// A 64-bit client of the 32-bit library, which runs in a process of the platform's: events come
// back.
#include <windows.h>
#include <ocidl.h>

#include <comdef.h>
#include <cstdio>

#include "ZSupport.h"
#include "automation/com_ptr.h"
#include "support/dispatch_stub.h"

using zsupport::ComPtr;

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
  HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS* given, VARIANT*,
                                   EXCEPINFO*, UINT*) override {
    std::printf("asked about %ls, reason %ld\n", *V_BSTRREF(&given->rgvarg[1]),
                V_I4(&given->rgvarg[0]));
    return S_OK;
  }
};

void connectAndAdd() {
  ComPtr<IDispatch> z, item;
  for (auto* object : {&z, &item}) {
    _com_util::CheckError(CoCreateInstance(__uuidof(Zollection), nullptr, CLSCTX_LOCAL_SERVER,
                                           IID_IDispatch, object->putVoid()));
  }
  const auto container = ComPtr<IConnectionPointContainer>::from(z.get());
  ComPtr<IConnectionPoint> point;
  static Client client;
  DWORD cookie;
  _com_util::CheckError(container->FindConnectionPoint(__uuidof(__Zollection), point.put()));
  _com_util::CheckError(point->Advise(&client, &cookie));
  // The item, and a source interface that it does not have.
  _variant_t arguments[] = {L"{11111111-2222-3333-4444-555555555555}", item.get()};
  DISPPARAMS parameters = {arguments, nullptr, 2, 0};
  wchar_t* name = const_cast<wchar_t*>(L"Add");
  DISPID id;
  _com_util::CheckError(z->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id));
  z->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, nullptr, nullptr,
            nullptr);
}

}  // namespace

int wmain() {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  connectAndAdd();
  return 0;
}
