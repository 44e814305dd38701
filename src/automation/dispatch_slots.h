// How one parameter of a late-bound call travels: from the caller's VARIANT to the type that the
// method takes, and back where it is by reference.
//
// A slot is loaded (which can fail: nothing has been called yet), passed, and stored after a call
// that succeeded. Foreign code may run between these steps, and may change a caller's VARIANT
// variable. So a method gets the caller's own place only where its type cannot change: typed
// by-reference arguments, and by-value arguments. Everything else is copied in, and copied back in
// the form that the caller's variable has: numbers always, texts and objects when they changed.
// Two exceptions: VARIANT variables are handed out as they are, and so are records inside them; a
// member copies what it needs of these before it calls out.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <type_traits>
#include <utility>

#include "automation/variant.h"

namespace zsupport {

// What an omitted parameter gets.
struct Default {
  VARTYPE type;  // VT_ERROR: nothing, the method sees a missing VARIANT
  LONG number = 0;
  const wchar_t* text = nullptr;
};

// The records that members take: specialised with kId, the record's id in the type library.
template <class T>
struct RecordId;

namespace dispatch_detail {

template <class T>
concept IsRecord = requires {
  RecordId<T>::kId;
};

// The record that an argument holds or refers to; null when it is none of that id.
void* recordIn(const VARIANT& variable, REFGUID id);
// A record of that id in an empty variable.
HRESULT makeRecord(VARIANT& value, REFGUID id, const void* content, size_t size);

// The C++ types that automation knows, with their place in a VARIANT.
template <class T>
struct Automation;
template <>
struct Automation<LONG> {
  static constexpr VARTYPE kType = VT_I4;
  static LONG& in(VARIANT& value) { return V_I4(&value); }
};
template <>
struct Automation<VARIANT_BOOL> {
  static constexpr VARTYPE kType = VT_BOOL;
  static VARIANT_BOOL& in(VARIANT& value) { return V_BOOL(&value); }
};
template <>
struct Automation<double> {
  static constexpr VARTYPE kType = VT_R8;
  static double& in(VARIANT& value) { return V_R8(&value); }
};
template <>
struct Automation<BSTR> {
  static constexpr VARTYPE kType = VT_BSTR;
  static BSTR& in(VARIANT& value) { return V_BSTR(&value); }
};
template <>
struct Automation<IDispatch*> {
  static constexpr VARTYPE kType = VT_DISPATCH;
  static IDispatch*& in(VARIANT& value) { return V_DISPATCH(&value); }
};
template <>
struct Automation<IUnknown*> {
  static constexpr VARTYPE kType = VT_UNKNOWN;
  static IUnknown*& in(VARIANT& value) { return V_UNKNOWN(&value); }
};

// To late-bound callers, an enumerator is an object of unknown kind.
template <>
struct Automation<IEnumVARIANT*> {
  static constexpr VARTYPE kType = VT_UNKNOWN;
  static IEnumVARIANT*& in(VARIANT& value) {
    return reinterpret_cast<IEnumVARIANT*&>(V_UNKNOWN(&value));
  }
};

// The argument or, when it refers to a caller's VARIANT, that variable.
const VARIANT* variableOf(const VARIANT* argument);

// The value that an argument stands for, without a copy: it owns nothing.
HRESULT borrow(VARIANT& value, const VARIANT& argument);

// A converted copy in an initialised variable.
HRESULT convertTo(VARIANT& copy, const VARIANT& argument, VARTYPE type, LCID locale);
HRESULT makeDefault(VARIANT& copy, const Default* preset, VARTYPE type);

// Stores a value in the variable that an argument refers to: as it is in a VARIANT, converted in a
// typed variable. A mere value has no place for it.
HRESULT storeIn(const VARIANT& argument, const VARIANT& value, LCID locale);

}  // namespace dispatch_detail

// By value.
template <class T>
class Slot {
  using Type = dispatch_detail::Automation<T>;

 public:
  static constexpr VARTYPE kType = Type::kType;

  HRESULT load(const VARIANT* argument, const Default* preset, LCID locale) {
    if (!argument) return dispatch_detail::makeDefault(copy(), preset, kType);
    if (typeOf(*argument) == kType) {
      passed_ = &Type::in(const_cast<VARIANT&>(*argument));
      return S_OK;
    }
    return dispatch_detail::convertTo(copy(), *argument, kType, locale);
  }
  T pass() { return passed_ ? *passed_ : Type::in(copy()); }
  HRESULT store(LCID) { return S_OK; }

 private:
  VARIANT& copy() { return *copy_.operator->(); }

  const T* passed_ = nullptr;  // in the caller's arguments
  Variant copy_;
};

// An enumeration by value is a Long.
template <class T>
requires std::is_enum_v<T>
class Slot<T> : public Slot<LONG> {
 public:
  T pass() { return static_cast<T>(Slot<LONG>::pass()); }
};

// Any value: the method sees it dereferenced.
template <>
class Slot<VARIANT> {
 public:
  static constexpr VARTYPE kType = VT_VARIANT;

  HRESULT load(const VARIANT* argument, const Default* preset, LCID) {
    if (!argument) return dispatch_detail::makeDefault(*copy_.operator->(), preset, VT_VARIANT);
    if (typeOf(*argument) & VT_BYREF) return copyIndirect(copy_.operator->(), *argument);
    passed_ = argument;
    return S_OK;
  }
  VARIANT pass() { return passed_ ? *passed_ : copy_.get(); }
  HRESULT store(LCID) { return S_OK; }

 private:
  const VARIANT* passed_ = nullptr;  // the caller's argument
  Variant copy_;
};

// By reference.
template <class T>
requires requires { dispatch_detail::Automation<T>::kType; }
class Slot<T*> {
  using Type = dispatch_detail::Automation<T>;

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
    return SUCCEEDED(converted) ? VariantCopy(before_.operator->(), &copy()) : converted;
  }
  T* pass() { return passed_ ? passed_ : &Type::in(copy()); }
  HRESULT store(LCID locale) {
    if (!argument_ || !hasChanged()) return S_OK;
    return dispatch_detail::storeIn(*argument_, copy(), locale);
  }

 private:
  VARIANT& copy() { return *copy_.operator->(); }
  bool hasChanged() {
    if constexpr (std::is_arithmetic_v<T>) {
      return true;  // a result that happens to be the old value, converted, still is a result
    } else if constexpr (std::is_same_v<T, BSTR>) {
      return viewOf(V_BSTR(&copy())) != viewOf(V_BSTR(&before_.get()));
    } else {
      return Type::in(copy()) != Type::in(*before_.operator->());
    }
  }

  const VARIANT* argument_ = nullptr;  // where the copy goes back
  T* passed_ = nullptr;                // in the caller's variable
  Variant copy_;
  Variant before_;
};

template <class T>
requires std::is_enum_v<T>
class Slot<T*> : public Slot<LONG*> {
 public:
  T* pass() { return reinterpret_cast<T*>(Slot<LONG*>::pass()); }
};

// Any variable: the method sees the caller's own VARIANT, or a copy of a value.
template <>
class Slot<VARIANT*> {
 public:
  static constexpr VARTYPE kType = VT_VARIANT | VT_BYREF;

  HRESULT load(const VARIANT* argument, const Default* preset, LCID) {
    if (!argument) return dispatch_detail::makeDefault(*copy_.operator->(), preset, VT_VARIANT);
    const VARIANT* const variable = dispatch_detail::variableOf(argument);
    if (!variable) return DISP_E_TYPEMISMATCH;
    if (variable == argument) return copyIndirect(copy_.operator->(), *argument);
    passed_ = const_cast<VARIANT*>(variable);
    return S_OK;
  }
  VARIANT* pass() { return passed_ ? passed_ : copy_.operator->(); }
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
namespace dispatch_detail {
template <>
struct Automation<DateValue> {
  static constexpr VARTYPE kType = VT_DATE;
  static DateValue& in(VARIANT& value) { return reinterpret_cast<DateValue&>(V_DATE(&value)); }
};
}  // namespace dispatch_detail
class DateSlot : public Slot<DateValue*> {
 public:
  DATE* pass() { return &Slot<DateValue*>::pass()->days; }
};

// A record: the caller's own, or a copy of one passed by value.
template <class T>
requires dispatch_detail::IsRecord<T>
class Slot<T*> {
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

// What a method returns through its last parameter, whose type the type library tells.
template <class Pointer, VARTYPE type>
class ResultSlot {
  using T = std::remove_pointer_t<Pointer>;
  static constexpr bool agrees() {
    if constexpr (std::is_same_v<T, VARIANT>) {
      return type == VT_VARIANT;
    } else if constexpr (std::is_enum_v<T>) {
      return type == VT_I4;
    } else {
      return type == dispatch_detail::Automation<T>::kType ||
             (std::is_same_v<T, SHORT> && type == VT_I2);
    }
  }
  static_assert(agrees(), "the type library says otherwise");

 public:
  ResultSlot() = default;
  ResultSlot(const ResultSlot&) = delete;
  ResultSlot& operator=(const ResultSlot&) = delete;

  Pointer pass() {
    if constexpr (std::is_same_v<T, VARIANT>) {
      return value_.operator->();
    } else if constexpr (std::is_enum_v<T>) {
      V_VT(value_.operator->()) = type;
      return reinterpret_cast<Pointer>(&V_I4(value_.operator->()));
    } else {
      V_VT(value_.operator->()) = type;
      T& place = dispatch_detail::Automation<T>::in(*value_.operator->());
      place = T{};  // a member that fails early leaves it as it is
      return &place;
    }
  }
  // Callers may not want the result.
  HRESULT handOver(VARIANT* result) {
    if (!result) return S_OK;
    *result = value_.get();
    VariantInit(value_.operator->());
    return S_OK;
  }

 private:
  Variant value_;
};

template <class T>
requires dispatch_detail::IsRecord<T>
class ResultSlot<T*, VT_RECORD> {
 public:
  T* pass() { return &record_; }
  HRESULT handOver(VARIANT* result) {
    if (!result) return S_OK;
    return dispatch_detail::makeRecord(*result, RecordId<T>::kId, &record_, sizeof record_);
  }

 private:
  T record_{};
};

}  // namespace zsupport
