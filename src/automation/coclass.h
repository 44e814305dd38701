// What every class of the library has in common: identity, reference count, error-info support,
// class information and the description behind IDispatch.
#pragma once

#include <windows.h>
#include <ocidl.h>

#include <concepts>
#include <type_traits>

#include "automation/dispatch.h"
#include "automation/foreign_unwind.h"
#include "automation/module.h"

namespace zsupport {

HRESULT classInfoOf(REFCLSID classId, ITypeInfo** info) noexcept;
// IID_NULL: a class without events.
HRESULT sourceGuidOf(REFIID sourceInterface, DWORD kind, GUID* guid) noexcept;

// The face of a table of members to late-bound callers: Class::members() is the table of Interface.
template <class Class, class Interface>
class DispatchFace : public Interface {
 public:
  // IDispatch
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    if (!count) return E_POINTER;
    *count = 1;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** info) override {
    return Class::members().typeInfo(index, info);
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID,
                                          DISPID* ids) override {
    return Class::members().idsOfNames(names, count, ids);
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID reserved, LCID locale, WORD flags,
                                   DISPPARAMS* arguments, VARIANT* result, EXCEPINFO* exception,
                                   UINT* badArgument) override {
    return Class::members().invoke(static_cast<Interface*>(this), member, reserved, locale, flags,
                                   arguments, result, exception, badArgument);
  }

 protected:
  DispatchFace() = default;
  ~DispatchFace() = default;
};

// Base of a coclass: Class is the class itself, CoClassTag what the generated header names the
// coclass by (it carries the class id), Default its dual default interface, Source its event
// interface, Others its further interfaces. Class has a static members(), the table of Default, and
// may define onFinalRelease(), which runs while the object is still whole and may be called back.
template <class Class, class CoClassTag, class Default, class Source, class... Others>
class CoClass : public DispatchFace<Class, Default>,
                public Others...,
                public IProvideClassInfo2,
                public ISupportErrorInfo,
                private LiveObject {
 public:
  // IUnknown
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (id == IID_IUnknown || id == IID_IDispatch) {
      *object = static_cast<Default*>(this);
    } else if (id == IID_IProvideClassInfo) {
      *object = static_cast<IProvideClassInfo2*>(this);
    } else {
      (answer<Default>(id, object) || ... || answer<Others>(id, object)) ||
          answer<IProvideClassInfo2>(id, object) || answer<ISupportErrorInfo>(id, object);
    }
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override {
    return static_cast<ULONG>(InterlockedIncrement(&references_));
  }
  ULONG STDMETHODCALLTYPE Release() override {
    const LONG left = InterlockedDecrement(&references_);
    if (left == 0) {
      // Whatever is called back from here on finds a living object and cannot end it twice.
      references_ = kEnding;
      auto* const self = static_cast<Class*>(this);
      const auto end = [self] { self->onFinalRelease(); };
      passingExceptions(end, [&] {
        end();
        delete self;
      });
      delete self;
      return 0;
    }
    return static_cast<ULONG>(left);
  }

  // IProvideClassInfo2
  HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** info) override {
    return classInfoOf(__uuidof(CoClassTag), info);
  }
  HRESULT STDMETHODCALLTYPE GetGUID(DWORD kind, GUID* guid) override {
    if constexpr (std::is_void_v<Source>) {
      return sourceGuidOf(IID_NULL, kind, guid);
    } else {
      return sourceGuidOf(__uuidof(Source), kind, guid);
    }
  }

  // ISupportErrorInfo
  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID id) override {
    const bool supported =
        id == __uuidof(Default) ||
        ((std::derived_from<Others, IDispatch> && id == __uuidof(Others)) || ... || false);
    return supported ? S_OK : S_FALSE;
  }

 protected:
  CoClass() = default;
  ~CoClass() = default;

  void onFinalRelease() noexcept {}

 private:
  static constexpr LONG kEnding = 0x40000000;

  template <class Interface>
  bool answer(REFIID id, void** object) {
    if (id != __uuidof(Interface)) return false;
    *object = static_cast<Interface*>(this);
    return true;
  }

  LONG references_ = 1;
};

}  // namespace zsupport
