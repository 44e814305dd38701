// How one parameter by reference travels from a late-bound caller to a method, and back.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <type_traits>

#include "automation/dispatch_slots.h"
#include "automation/variant.h"

namespace zsupport {

// By reference, for a method that reads.
template <class T>
requires requires { Automation<T>::kType; }
class Slot<T*, Use::kRead> : public ReadSlot<T, true> {
 public:
  static constexpr VARTYPE kType = Automation<T>::kType | VT_BYREF;
  T* pass() { return this->place(); }
};

// By reference, for a method that writes.
template <class T, Use use>
requires requires { Automation<T>::kType; }
class Slot<T*, use> {
  using Type = Automation<T>;

 public:
  static constexpr VARTYPE kType = Type::kType | VT_BYREF;

  HRESULT load(const VARIANT* argument, const Default* preset, LCID locale) {
    if (!argument) return dispatch_detail::makeDefault(copy(), preset, Type::kType);
    if (typeOf(*argument) == kType && V_BYREF(argument)) {
      passed_ = static_cast<T*>(V_BYREF(argument));
      return S_OK;
    }
    argument_ = argument;
    const HRESULT converted = dispatch_detail::convertTo(copy(), *argument, Type::kType, locale);
    return SUCCEEDED(converted) ? VariantCopy(before_.inout(), &copy()) : converted;
  }
  T* pass() { return passed_ ? passed_ : &Type::in(copy()); }
  HRESULT store(LCID locale) {
    if (!argument_ || !isWritten()) return S_OK;
    return dispatch_detail::storeIn(*argument_, copy(), locale);
  }

 private:
  VARIANT& copy() { return *copy_.inout(); }
  bool isWritten() {
    if constexpr (use == Use::kAnswer) {
      return true;
    } else if constexpr (std::is_same_v<T, BSTR>) {
      return viewOf(V_BSTR(&copy())) != viewOf(V_BSTR(&before_.get()));
    } else {
      return Type::in(copy()) != Type::in(*before_.inout());
    }
  }

  const VARIANT* argument_ = nullptr;  // where the copy goes back
  T* passed_ = nullptr;                // in the caller's variable
  Variant copy_;
  Variant before_;
};

template <class T, Use use>
requires std::is_enum_v<T>
class Slot<T*, use> : public Slot<LONG*, use> {
 public:
  T* pass() { return reinterpret_cast<T*>(Slot<LONG*, use>::pass()); }
};

// Any variable: the method sees the caller's own VARIANT, and a value as it is unless it writes.
template <Use use>
class Slot<VARIANT*, use> {
 public:
  static constexpr VARTYPE kType = VT_VARIANT | VT_BYREF;

  HRESULT load(const VARIANT* argument, const Default* preset, LCID) {
    if (!argument) return dispatch_detail::makeDefault(*copy_.inout(), preset, VT_VARIANT);
    const VARIANT* const variable = dispatch_detail::variableOf(argument);
    if (!variable) return DISP_E_TYPEMISMATCH;
    const bool isPlain = use == Use::kRead && !(typeOf(*argument) & VT_BYREF);
    if (variable == argument && !isPlain) return copyIndirect(copy_.inout(), *argument);
    passed_ = const_cast<VARIANT*>(variable);
    return S_OK;
  }
  VARIANT* pass() { return passed_ ? passed_ : copy_.inout(); }
  HRESULT store(LCID) { return S_OK; }

 private:
  VARIANT* passed_ = nullptr;
  Variant copy_;
};

// What a date by reference is to a method that takes a double.
struct DateValue {
  DATE days;
  bool operator==(const DateValue&) const = default;
};
template <>
struct Automation<DateValue> : AutomationType<DateValue, VT_DATE> {};
template <Use use>
class DateSlot : public Slot<DateValue*, use> {
 public:
  DATE* pass() { return &Slot<DateValue*, use>::pass()->days; }
};

// A record: the caller's own, or a copy of one passed by value.
template <class T, Use use>
requires dispatch_detail::IsRecord<T>
class Slot<T*, use> {
 public:
  static constexpr VARTYPE kType = VT_RECORD | VT_BYREF;

  HRESULT load(const VARIANT* argument, const Default*, LCID) {
    if (!argument) return DISP_E_PARAMNOTOPTIONAL;
    const VARIANT* const variable = dispatch_detail::variableOf(argument);
    void* const record =
        variable ? dispatch_detail::recordIn(*variable, RecordId<T>::kId) : nullptr;
    if (!record) return DISP_E_TYPEMISMATCH;
    passed_ = static_cast<T*>(record);
    if (variable == argument && !(typeOf(*variable) & VT_BYREF)) {
      copy_ = *passed_;
      passed_ = &copy_;
    }
    return S_OK;
  }
  T* pass() { return passed_; }
  HRESULT store(LCID) { return S_OK; }

 private:
  T* passed_ = nullptr;
  T copy_{};
};

}  // namespace zsupport
