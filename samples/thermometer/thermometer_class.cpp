#include "thermometer_class.h"

#include <windows.h>
#include <ocidl.h>
#include <oleauto.h>
#include <olectl.h>

#include <map>
#include <new>

namespace {

// The type library in this program's resources.
ITypeLib* loadTypeLibrary() {
  wchar_t path[MAX_PATH];
  ITypeLib* library = nullptr;
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  return SUCCEEDED(LoadTypeLibEx(path, REGKIND_NONE, &library)) ? library : nullptr;
}

// Object and connection point in one: everything that a Zollection asks of its items.
class ThermometerObject final : public _Thermometer,
                                public IConnectionPointContainer,
                                public IConnectionPoint {
 public:
  explicit ThermometerObject(ITypeInfo* description) : description_(description) {}
  ThermometerObject(const ThermometerObject&) = delete;
  ThermometerObject& operator=(const ThermometerObject&) = delete;

  // IUnknown
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (id == IID_IUnknown || id == IID_IDispatch || id == __uuidof(_Thermometer)) {
      *object = static_cast<_Thermometer*>(this);
    } else if (id == IID_IConnectionPointContainer) {
      *object = static_cast<IConnectionPointContainer*>(this);
    }
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

  // IDispatch: all by the type library
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    *count = 1;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** info) override {
    description_->AddRef();
    *info = description_;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID,
                                          DISPID* ids) override {
    return description_->GetIDsOfNames(names, count, ids);
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS* arguments,
                                   VARIANT* result, EXCEPINFO* exception, UINT* bad) override {
    return description_->Invoke(static_cast<_Thermometer*>(this), member, flags, arguments, result,
                                exception, bad);
  }

  // _Thermometer
  HRESULT STDMETHODCALLTYPE Measure(LONG* celsius, BSTR* remark) override {
    if (!celsius || !remark) return E_POINTER;
    VARIANTARG arguments[2];  // the last one first
    V_VT(&arguments[0]) = VT_BYREF | VT_BSTR;
    V_BSTRREF(&arguments[0]) = remark;
    V_VT(&arguments[1]) = VT_BYREF | VT_I4;
    V_I4REF(&arguments[1]) = celsius;
    DISPPARAMS parameters = {arguments, nullptr, 2, 0};
    const auto listeners = listeners_;  // one may leave while it is called
    for (const auto& [cookie, listener] : listeners) {
      listener->Invoke(7, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, nullptr,
                       nullptr, nullptr);
    }
    return S_OK;
  }

  // IConnectionPointContainer
  HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** points) override {
    *points = nullptr;
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID id, IConnectionPoint** point) override {
    *point = nullptr;
    if (id != __uuidof(_ThermometerEvents)) return CONNECT_E_NOCONNECTION;
    AddRef();
    *point = this;
    return S_OK;
  }

  // IConnectionPoint
  HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* id) override {
    *id = __uuidof(_ThermometerEvents);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE
  GetConnectionPointContainer(IConnectionPointContainer** container) override {
    AddRef();
    *container = this;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Advise(IUnknown* listener, DWORD* cookie) override {
    IDispatch* sink = nullptr;
    if (FAILED(listener->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&sink)))) {
      return CONNECT_E_CANNOTCONNECT;
    }
    *cookie = ++lastCookie_;
    listeners_[*cookie] = sink;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override {
    const auto found = listeners_.find(cookie);
    if (found == listeners_.end()) return CONNECT_E_NOCONNECTION;
    IDispatch* const sink = found->second;
    listeners_.erase(found);
    sink->Release();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** connections) override {
    *connections = nullptr;
    return E_NOTIMPL;
  }

 private:
  ~ThermometerObject() {
    for (const auto& [cookie, listener] : listeners_) listener->Release();
    description_->Release();
  }

  ITypeInfo* description_;
  std::map<DWORD, IDispatch*> listeners_;
  DWORD lastCookie_ = 0;
  ULONG references_ = 1;
};

}  // namespace

_Thermometer* createThermometer() {
  static ITypeLib* const library = loadTypeLibrary();
  ITypeInfo* description = nullptr;
  if (!library || FAILED(library->GetTypeInfoOfGuid(__uuidof(_Thermometer), &description))) {
    return nullptr;
  }
  return new (std::nothrow) ThermometerObject(description);
}
