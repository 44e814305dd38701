// An event source and a client of events, as bare as they can be. The source has the type
// information of a Zollection, and so its events.
#pragma once

#include <ocidl.h>
#include <olectl.h>

#include <utility>

#include "late.h"

class BareDispatch : public IDispatch {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    *object = id == IID_IUnknown || id == IID_IDispatch ? static_cast<IDispatch*>(this) : nullptr;
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override { return --references_; }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                   UINT*) override {
    return S_OK;
  }

 private:
  ULONG references_ = 1;
};

class Source final : public BareDispatch,
                     public IConnectionPointContainer,
                     public IConnectionPoint {
 public:
  void fire(DISPPARAMS& parameters) const {
    sink_->Invoke(2, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, nullptr, nullptr,
                  nullptr);
  }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (id != IID_IConnectionPointContainer) return BareDispatch::QueryInterface(id, object);
    *object = static_cast<IConnectionPointContainer*>(this);
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return BareDispatch::AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return BareDispatch::Release(); }

  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** info) override {
    static ITypeInfo* const zollection = [] {
      ITypeInfo* found = nullptr;
      require(create<_Zollection>(L"ZSupport.Zollection")->GetTypeInfo(0, 0, &found));
      return found;
    }();
    *info = zollection;
    zollection->AddRef();
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID id, IConnectionPoint** point) override {
    *point = id == __uuidof(__Zollection) ? this : nullptr;
    if (!*point) return CONNECT_E_NOCONNECTION;
    AddRef();
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* id) override {
    *id = __uuidof(__Zollection);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override {
    *cookie = 1;
    return sink->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&sink_));
  }
  HRESULT STDMETHODCALLTYPE Unadvise(DWORD) override {
    if (IDispatch* const sink = std::exchange(sink_, nullptr)) sink->Release();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

 private:
  IDispatch* sink_ = nullptr;
};

// A collection whose events go to one client.
class Heard {
 public:
  _Zollection* const z = create<_Zollection>(L"ZSupport.Zollection");
  BareDispatch client;

  Heard() {
    IConnectionPointContainer* container = nullptr;
    require(z->QueryInterface(IID_IConnectionPointContainer, reinterpret_cast<void**>(&container)));
    require(container->FindConnectionPoint(__uuidof(__Zollection), &point_));
    require(point_->Advise(&client, &cookie_));
    container->Release();
  }
  Heard(const Heard&) = delete;
  Heard& operator=(const Heard&) = delete;
  ~Heard() {
    require(z->Clear());
    require(point_->Unadvise(cookie_));
    point_->Release();
    z->Release();
  }
  void add(IDispatch* item, const wchar_t* sourceIID = L"") const {
    VARIANT none = missing();
    BSTR source = SysAllocString(sourceIID), key = nullptr;
    require(z->Add(item, &source, &key, &none, &none));
    SysFreeString(source);
  }
  void addUnconnected(int count, IDispatch* item) const {
    for (int i = 0; i < count; ++i) add(item, kNoEvents);
  }

 private:
  IConnectionPoint* point_ = nullptr;
  DWORD cookie_ = 0;
};
