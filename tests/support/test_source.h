// An event source whose every answer a test can choose.
#pragma once

#include <windows.h>
#include <ocidl.h>

#include <functional>
#include <initializer_list>
#include <vector>

#include "automation/com_ptr.h"
#include "sources.h"
#include "support/dispatch_stub.h"

struct Behaviour {
  const IID* described = &__uuidof(_Plain);  // by IDispatch::GetTypeInfo; null: not at all
  const CLSID* classInfo = nullptr;          // by IProvideClassInfo
  IID events = __uuidof(PlainEvents);        // of the one connection point
  bool isContainer = true;
  bool enumerates = false;
  bool keepsSink = false;   // Unadvise succeeds and forgets to let go
  bool losesPoint = false;  // FindConnectionPoint succeeds with nothing
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

  static zsupport::ComPtr<TestSource> make(Behaviour behaviour = {}) {
    return zsupport::ComPtr<TestSource>::attach(new TestSource(std::move(behaviour)));
  }

  // A type of sources.idl, or none.
  static HRESULT describe(const GUID* id, ITypeInfo** info);

  // Arguments in the order of declaration; the array is the caller's afterwards.
  std::vector<VARIANTARG> fire(DISPID event, std::initializer_list<VARIANTARG> arguments = {});

  Behaviour behaviour;
  ULONG references = 1;
  std::vector<zsupport::ComPtr<IDispatch>> sinks;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** info) override {
    return describe(behaviour.described, info);
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                   UINT*) override {
    return DISP_E_MEMBERNOTFOUND;
  }

  HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** info) override {
    return describe(behaviour.classInfo, info);
  }

  HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** points) override;
  HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID id, IConnectionPoint** point) override;

  HRESULT STDMETHODCALLTYPE Next(ULONG, IConnectionPoint** point, ULONG* fetched) override;
  HRESULT STDMETHODCALLTYPE Skip(ULONG) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Reset() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE Clone(IEnumConnectionPoints**) override { return E_NOTIMPL; }

  HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* id) override {
    *id = behaviour.events;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override;
  HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override;
  HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

 private:
  explicit TestSource(Behaviour chosen) : behaviour(std::move(chosen)) { ++alive; }
  ~TestSource() { --alive; }
};
