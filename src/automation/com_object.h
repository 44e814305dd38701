// Identity and reference count of a small object with one interface.
#pragma once

#include <windows.h>
#include <unknwn.h>

#include "automation/module.h"

namespace zsupport {

// Counts as a living object of the library. The creator holds the first reference.
template <class Interface>
class ComObject : public Interface, private LiveObject {
 public:
  // IUnknown
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (!object) return E_POINTER;
    *object = id == IID_IUnknown || id == __uuidof(Interface) ? this : nullptr;
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override {
    return static_cast<ULONG>(InterlockedIncrement(&references_));
  }
  ULONG STDMETHODCALLTYPE Release() override {
    const LONG left = InterlockedDecrement(&references_);
    if (left == 0) delete this;
    return static_cast<ULONG>(left);
  }

 protected:
  ComObject() = default;
  virtual ~ComObject() = default;

 private:
  LONG references_ = 1;
};

}  // namespace zsupport
