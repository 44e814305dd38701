// How an array travels from a late-bound caller to a method that takes one by reference, and back.
//
// An array of the right elements is handed out where it is; a method that lets foreign code run
// locks it meanwhile. An array of other elements is converted into a copy. When the method changes
// arrays, only arrays of VARIANT are taken for others (script engines know nothing else), and what
// it changed goes back into the caller's array, in that array's own form.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include "automation/dispatch_slots.h"
#include "automation/safe_array.h"

namespace zsupport {

namespace dispatch_detail {

class ArrayArgument {
 public:
  ArrayArgument(VARTYPE element, Use use) : element_(element), use_(use) {}
  ArrayArgument(const ArrayArgument&) = delete;
  ArrayArgument& operator=(const ArrayArgument&) = delete;

  HRESULT load(const VARIANT* argument, const Default*, LCID locale);
  SAFEARRAY** pass();
  HRESULT store(LCID locale);

 private:
  VARTYPE wanted() const { return static_cast<VARTYPE>(VT_ARRAY | element_); }
  HRESULT loadValue(const VARIANT& value);
  HRESULT loadOther(const VARIANT& variable, LCID locale);
  SAFEARRAY* target() const;

  const VARTYPE element_;
  const Use use_;
  SAFEARRAY** place_ = nullptr;  // the caller's typed variable
  VARIANT* variable_ = nullptr;  // the caller's VARIANT variable; foreign code may change it
  bool isConverted_ = false;
  SafeArray own_;     // what the method gets when it cannot get the caller's
  SafeArray before_;  // a converted own_ before the call
};

}  // namespace dispatch_detail

template <VARTYPE type, Use use>
class ArraySlot : public dispatch_detail::ArrayArgument {
 public:
  static constexpr VARTYPE kType = type | VT_BYREF;
  ArraySlot() : ArrayArgument(type & VT_TYPEMASK, use) {}
};

template <VARTYPE type>
class ArrayResultSlot {
 public:
  SAFEARRAY** pass() { return array_.inout(); }
  HRESULT handOver(VARIANT& result) {
    V_VT(&result) = type;
    V_ARRAY(&result) = array_.detach();
    return S_OK;
  }

 private:
  SafeArray array_;
};

}  // namespace zsupport
