// An event source whose every answer a test can choose.
#pragma once

#include <olectl.h>

#include <algorithm>

#include "sources.h"
#include "support/com.h"
#include "support/dispatch_stub.h"

struct Behaviour {
  const IID* described = &__uuidof(_Plain);  // by IDispatch::GetTypeInfo; null: not at all
  const CLSID* classInfo = nullptr;          // by IProvideClassInfo
  IID events = __uuidof(PlainEvents);        // of the one connection point
  bool enumerates = false;
  bool keepsSink = false;  // Unadvise succeeds and forgets to let go
  HRESULT adviseResult = S_OK;
  HRESULT unadviseResult = S_OK;
  std::function<void()> onAdvise = {};    // with the sink already connected
  std::function<void()> onUnadvise = {};  // with the sink still connected
  std::function<void()> onDestroy = {};
};

class TestSource final : public DispatchStub,
                         public IConnectionPointContainer,
                         public IConnectionPoint,
                         public IEnumConnectionPoints,
                         public IProvideClassInfo {
 public:
  static inline LONG alive = 0;

  static ComPtr<TestSource> make(Behaviour behaviour = {}) {
    return ComPtr<TestSource>::attach(new TestSource(std::move(behaviour)));
  }

  // A type of sources.idl, or none.
  static HRESULT describe(const GUID* id, ITypeInfo** info) {
    static ITypeLib* const library = [] {
      wchar_t path[MAX_PATH];
      ITypeLib* loaded = nullptr;
      GetModuleFileNameW(nullptr, path, MAX_PATH);
      LoadTypeLibEx(path, REGKIND_NONE, &loaded);
      return loaded;
    }();
    *info = nullptr;
    return id ? library->GetTypeInfoOfGuid(*id, info) : E_NOTIMPL;
  }

  // Arguments in the order of declaration; the array is the caller's afterwards.
  std::vector<VARIANTARG> fire(DISPID event, std::vector<VARIANTARG> arguments = {}) {
    std::ranges::reverse(arguments);
    DISPPARAMS parameters = {arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
    const ComPtr<TestSource> self(this);
    for (const auto& sink : std::vector(sinks)) {
      if (sink) {
        sink->Invoke(event, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, nullptr,
                     nullptr, nullptr);
      }
    }
    std::ranges::reverse(arguments);
    return arguments;
  }

  Behaviour behaviour;
  ULONG references = 1;
  std::vector<ComPtr<IDispatch>> sinks;

  STDMETHODIMP QueryInterface(REFIID id, void** object) override {
    if (id == IID_IConnectionPointContainer) {
      *object = static_cast<IConnectionPointContainer*>(this);
    } else if (id == IID_IConnectionPoint) {
      *object = static_cast<IConnectionPoint*>(this);
    } else if (id == IID_IEnumConnectionPoints) {
      *object = static_cast<IEnumConnectionPoints*>(this);
    } else if (id == IID_IProvideClassInfo && behaviour.classInfo) {
      *object = static_cast<IProvideClassInfo*>(this);
    } else {
      return DispatchStub::QueryInterface(id, object);
    }
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --references;
    if (left == 0) {
      references = 1000;  // onDestroy may fire
      if (behaviour.onDestroy) behaviour.onDestroy();
      delete this;
    }
    return left;
  }

  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo** info) override {
    return describe(behaviour.described, info);
  }
  STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                      UINT*) override {
    return DISP_E_MEMBERNOTFOUND;
  }

  STDMETHODIMP GetClassInfo(ITypeInfo** info) override {
    return describe(behaviour.classInfo, info);
  }

  STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints** points) override {
    if (!behaviour.enumerates) return E_NOTIMPL;
    *points = ComPtr<IEnumConnectionPoints>(this).detach();
    return S_OK;
  }
  STDMETHODIMP FindConnectionPoint(REFIID id, IConnectionPoint** point) override {
    return id == behaviour.events ? Next(1, point, nullptr) : CONNECT_E_NOCONNECTION;
  }

  STDMETHODIMP Next(ULONG, IConnectionPoint** point, ULONG*) override {
    *point = ComPtr<IConnectionPoint>(this).detach();
    return S_OK;
  }
  STDMETHODIMP Skip(ULONG) override { return E_NOTIMPL; }
  STDMETHODIMP Reset() override { return S_OK; }
  STDMETHODIMP Clone(IEnumConnectionPoints**) override { return E_NOTIMPL; }

  STDMETHODIMP GetConnectionInterface(IID* id) override {
    *id = behaviour.events;
    return S_OK;
  }
  STDMETHODIMP GetConnectionPointContainer(IConnectionPointContainer**) override {
    return E_NOTIMPL;
  }
  STDMETHODIMP Advise(IUnknown* sink, DWORD* cookie) override {
    if (FAILED(behaviour.adviseResult)) return behaviour.adviseResult;
    const auto connected = ComPtr<IDispatch>::from(sink, behaviour.events);
    if (!connected) return CONNECT_E_CANNOTCONNECT;
    sinks.push_back(connected);
    *cookie = static_cast<DWORD>(sinks.size());
    if (behaviour.onAdvise) behaviour.onAdvise();
    return S_OK;
  }
  STDMETHODIMP Unadvise(DWORD cookie) override {
    if (behaviour.onUnadvise) behaviour.onUnadvise();
    if (FAILED(behaviour.unadviseResult)) return behaviour.unadviseResult;
    auto& sink = sinks.at(cookie - 1);
    if (!sink) return CONNECT_E_NOCONNECTION;
    if (!behaviour.keepsSink) sink.reset();
    return S_OK;
  }
  STDMETHODIMP EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

 private:
  explicit TestSource(Behaviour chosen) : behaviour(std::move(chosen)) { ++alive; }
  ~TestSource() { --alive; }
};
