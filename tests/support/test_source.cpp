#include "support/test_source.h"

#include <oleauto.h>
#include <olectl.h>

#include <algorithm>

using zsupport::ComPtr;

std::vector<VARIANTARG> TestSource::fire(DISPID event,
                                         std::initializer_list<VARIANTARG> arguments) {
  std::vector<VARIANTARG> lastFirst(arguments);
  std::reverse(lastFirst.begin(), lastFirst.end());
  DISPPARAMS parameters = {lastFirst.data(), nullptr, static_cast<UINT>(lastFirst.size()), 0};
  const ComPtr<TestSource> self(this);
  for (const auto& sink : std::vector(sinks)) {
    if (sink) {
      sink->Invoke(event, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, nullptr,
                   nullptr, nullptr);
    }
  }
  std::reverse(lastFirst.begin(), lastFirst.end());
  return lastFirst;
}

HRESULT TestSource::QueryInterface(REFIID id, void** object) {
  *object = nullptr;
  if (id == IID_IUnknown || id == IID_IDispatch) {
    *object = static_cast<IDispatch*>(this);
  } else if (id == IID_IConnectionPointContainer && behaviour.isContainer) {
    *object = static_cast<IConnectionPointContainer*>(this);
  } else if (id == IID_IProvideClassInfo && behaviour.classInfo) {
    *object = static_cast<IProvideClassInfo*>(this);
  }
  if (!*object) return E_NOINTERFACE;
  AddRef();
  return S_OK;
}

ULONG TestSource::Release() {
  const ULONG left = --references;
  if (left == 0) {
    references = 1000;  // onDestroy may fire
    if (behaviour.onDestroy) behaviour.onDestroy();
    delete this;
  }
  return left;
}

HRESULT TestSource::EnumConnectionPoints(IEnumConnectionPoints** points) {
  *points = nullptr;
  if (!behaviour.enumerates) return E_NOTIMPL;
  *points = ComPtr<IEnumConnectionPoints>(this).detach();
  return S_OK;
}

HRESULT TestSource::FindConnectionPoint(REFIID id, IConnectionPoint** point) {
  *point = nullptr;
  if (behaviour.losesPoint) return S_OK;
  if (id != behaviour.events) return CONNECT_E_NOCONNECTION;
  *point = ComPtr<IConnectionPoint>(this).detach();
  return S_OK;
}

HRESULT TestSource::Next(ULONG, IConnectionPoint** point, ULONG* fetched) {
  *point = ComPtr<IConnectionPoint>(this).detach();
  if (fetched) *fetched = 1;
  return S_OK;
}

HRESULT TestSource::Advise(IUnknown* sink, DWORD* cookie) {
  if (FAILED(behaviour.adviseResult)) return behaviour.adviseResult;
  const auto connected = ComPtr<IDispatch>::from(sink, behaviour.events);
  if (!connected) return CONNECT_E_CANNOTCONNECT;
  sinks.push_back(connected);
  *cookie = static_cast<DWORD>(sinks.size());
  if (behaviour.onAdvise) behaviour.onAdvise();
  return S_OK;
}

HRESULT TestSource::Unadvise(DWORD cookie) {
  if (behaviour.onUnadvise) behaviour.onUnadvise();
  if (FAILED(behaviour.unadviseResult)) return behaviour.unadviseResult;
  if (cookie == 0 || cookie > sinks.size() || !sinks[cookie - 1]) return CONNECT_E_NOCONNECTION;
  if (!behaviour.keepsSink) sinks[cookie - 1].reset();
  return S_OK;
}

HRESULT TestSource::describe(const GUID* id, ITypeInfo** info) {
  static ITypeLib* const library = [] {
    wchar_t path[MAX_PATH];
    ITypeLib* loaded = nullptr;
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    LoadTypeLibEx(path, REGKIND_NONE, &loaded);
    return loaded;
  }();
  *info = nullptr;
  return id && library ? library->GetTypeInfoOfGuid(*id, info) : E_NOTIMPL;
}
