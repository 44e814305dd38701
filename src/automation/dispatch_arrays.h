// How an array travels from a late-bound caller to a method that takes one by reference, and back.
//
// An array of the right elements is not copied. One in a script's variable belongs to the call
// while a method may change it: the variable is empty meanwhile, so that foreign code that runs in
// the midst of the call cannot free what is at work. An array of other elements (script engines
// know only arrays of VARIANT) is converted, and what the method changed goes back into the
// caller's array, in that array's own form.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include "automation/dispatch_slots.h"
#include "automation/safe_array.h"

namespace zsupport {

// What a method does with the caller's array.
enum class ArrayUse { kRead, kChange };

namespace dispatch_detail {

class ArrayArgument {
 public:
  ArrayArgument(VARTYPE element, ArrayUse use) : element_(element), use_(use) {}
  ArrayArgument(const ArrayArgument&) = delete;
  ArrayArgument& operator=(const ArrayArgument&) = delete;
  ~ArrayArgument();

  HRESULT load(const VARIANT* argument, const Default*, LCID locale);
  SAFEARRAY** pass();
  HRESULT store(LCID locale);

 private:
  VARTYPE wanted() const { return static_cast<VARTYPE>(VT_ARRAY | element_); }
  HRESULT loadOwn(const VARIANT& variable, bool isInVariable);
  HRESULT loadOther(const VARIANT& variable, bool isInVariable, LCID locale);
  void take(const VARIANT& variable);
  void putBack();

  const VARTYPE element_;
  const ArrayUse use_;
  SAFEARRAY** place_ = nullptr;  // the caller's typed variable
  VARIANT* variable_ = nullptr;  // the caller's VARIANT variable
  VARTYPE takenType_ = VT_EMPTY;
  SafeArray taken_;   // from that variable, until it is put back
  SafeArray own_;     // what the method gets when it cannot get the caller's
  SafeArray before_;  // own_ as it was before the call, where changes go back
};

}  // namespace dispatch_detail

template <VARTYPE type, ArrayUse use>
class ArraySlot : public dispatch_detail::ArrayArgument {
 public:
  static constexpr VARTYPE kType = type | VT_BYREF;
  ArraySlot() : ArrayArgument(type & VT_TYPEMASK, use) {}
};

template <VARTYPE type>
class ArrayResultSlot {
 public:
  static constexpr VARTYPE kType = type;

  SAFEARRAY** pass() { return array_.inout(); }
  HRESULT handOver(VARIANT* result) {
    if (!result) return S_OK;
    V_VT(result) = type;
    V_ARRAY(result) = array_.detach();
    return S_OK;
  }

 private:
  SafeArray array_;
};

}  // namespace zsupport
