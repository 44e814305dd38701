// How one parameter of a late-bound call travels: from the caller's VARIANT to the type that the
// method takes, and back where it is by reference.
//
// A slot is loaded (which can fail: nothing has been called yet), passed, and stored after the
// call, which may have failed. Foreign code may run between these steps, and may change a caller's
// VARIANT variable. So a method gets the caller's own place only where its type cannot change:
// typed by-reference arguments, and by-value arguments that it only reads. Everything else is
// copied in, and copied back, in the form that the caller's variable has, when the method wrote it.
// Two exceptions: VARIANT variables are handed out as they are, and so are records inside them; a
// member copies what it needs of these before it calls out.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <type_traits>
#include <utility>

#include "automation/variant.h"

namespace zsupport {

// What a method does with a parameter by reference: reads it, writes it at times (which shows: the
// value is another), or writes it always, perhaps with the value that was there.
enum class Use { kRead, kChange, kAnswer };

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

// A converted copy for a method that only reads it.
template <class T>
class ReadCopy {
 public:
  HRESULT make(const VARIANT& argument, LCID locale) {
    return convertTo(*copy_.inout(), argument, Automation<T>::kType, locale);
  }
  HRESULT make(const Default* preset) {
    return makeDefault(*copy_.inout(), preset, Automation<T>::kType);
  }
  T& get() { return Automation<T>::in(*copy_.inout()); }

 private:
  Variant copy_;
};

// A text stays a text, and a short one costs no memory.
template <>
class ReadCopy<BSTR> {
 public:
  HRESULT make(const VARIANT& argument, LCID locale) {
    VARIANT value;
    const HRESULT borrowed = borrow(value, argument);
    if (FAILED(borrowed)) return borrowed;
    if (typeOf(value) == VT_BSTR) return text_.assign(V_BSTR(&value));
    const HRESULT converted = changeType(copy_.inout(), value, locale, VT_BSTR);
    text_.borrow(V_BSTR(&copy_.get()));
    return converted;
  }
  HRESULT make(const Default* preset) {
    const HRESULT made = makeDefault(*copy_.inout(), preset, VT_BSTR);
    text_.borrow(V_BSTR(&copy_.get()));
    return made;
  }
  BSTR& get() { return text_.get(); }

 private:
  Variant copy_;
  TextCopy text_;
};

}  // namespace dispatch_detail

// By value.
template <class T, Use use = Use::kRead>
class Slot {
  using Type = dispatch_detail::Automation<T>;

 public:
  static constexpr VARTYPE kType = Type::kType;

  HRESULT load(const VARIANT* argument, const Default* preset, LCID locale) {
    if (!argument) return copy_.make(preset);
    if (typeOf(*argument) != kType) return copy_.make(*argument, locale);
    passed_ = &Type::in(const_cast<VARIANT&>(*argument));
    return S_OK;
  }
  T pass() { return passed_ ? *passed_ : copy_.get(); }
  HRESULT store(LCID) { return S_OK; }

 private:
  const T* passed_ = nullptr;  // in the caller's arguments
  dispatch_detail::ReadCopy<T> copy_;
};

// An enumeration by value is a Long.
template <class T, Use use>
requires std::is_enum_v<T>
class Slot<T, use> : public Slot<LONG> {
 public:
  T pass() { return static_cast<T>(Slot<LONG>::pass()); }
};

// Any value: the method sees it dereferenced.
template <Use use>
class Slot<VARIANT, use> {
 public:
  static constexpr VARTYPE kType = VT_VARIANT;

  HRESULT load(const VARIANT* argument, const Default* preset, LCID) {
    if (!argument) {
      const HRESULT made = dispatch_detail::makeDefault(*copy_.inout(), preset, VT_VARIANT);
      passed_ = copy_.get();
      return made;
    }
    if (!(typeOf(*argument) & VT_BYREF)) {
      passed_ = *argument;
      return S_OK;
    }
    // Texts are what is referred to most: keys.
    if (FAILED(dispatch_detail::borrow(passed_, *argument)) || typeOf(passed_) != VT_BSTR) {
      const HRESULT copied = copyIndirect(copy_.inout(), *argument);
      passed_ = copy_.get();
      return copied;
    }
    const HRESULT copied = text_.assign(V_BSTR(&passed_));
    V_BSTR(&passed_) = text_.get();
    return copied;
  }
  VARIANT pass() { return passed_; }
  HRESULT store(LCID) { return S_OK; }

 private:
  VARIANT passed_ = {};  // owns nothing
  Variant copy_;
  TextCopy text_;
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
      return value_.inout();
    } else if constexpr (std::is_enum_v<T>) {
      V_VT(value_.inout()) = type;
      return reinterpret_cast<Pointer>(&V_I4(value_.inout()));
    } else {
      V_VT(value_.inout()) = type;
      T& place = dispatch_detail::Automation<T>::in(*value_.inout());
      place = T{};  // a member that fails early leaves it as it is
      return &place;
    }
  }
  // Callers may not want the result.
  HRESULT handOver(VARIANT* result) {
    if (!result) return S_OK;
    *result = value_.get();
    VariantInit(value_.inout());
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
