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

#include "automation/dispatch_values.h"

namespace zsupport {

// What a method does with a parameter by reference: reads it, writes it at times (which shows: the
// value is another), or writes it always, perhaps with the value that was there.
enum class Use { kRead, kChange, kAnswer };

// What a method only reads. By reference it gets the caller's own variable where that has the type.
template <class T, bool byReference>
class ReadSlot {
  using Type = Automation<T>;

 public:
  HRESULT load(const VARIANT* argument, const Default* preset, LCID locale) {
    if (!argument) return copy_.make(preset);
    if (typeOf(*argument) == Type::kType) {
      passed_ = &Type::in(const_cast<VARIANT&>(*argument));
    } else if (byReference && typeOf(*argument) == (Type::kType | VT_BYREF) && V_BYREF(argument)) {
      passed_ = static_cast<T*>(V_BYREF(argument));
    } else {
      return copy_.make(*argument, locale);
    }
    return S_OK;
  }
  HRESULT store(LCID) { return S_OK; }

 protected:
  T* place() { return passed_ ? passed_ : &copy_.get(); }

 private:
  T* passed_ = nullptr;  // in the caller's variable or arguments
  dispatch_detail::ReadCopy<T> copy_;
};

// By value.
template <class T, Use use = Use::kRead>
class Slot : public ReadSlot<T, false> {
 public:
  static constexpr VARTYPE kType = Automation<T>::kType;
  T pass() { return *this->place(); }
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
  using Content = std::conditional_t<std::is_enum_v<T>, LONG, T>;
  static constexpr bool agrees() {
    if constexpr (std::is_same_v<T, VARIANT>) {
      return type == VT_VARIANT;
    } else {
      return type == Automation<Content>::kType || (std::is_same_v<T, SHORT> && type == VT_I2);
    }
  }
  static_assert(agrees(), "the type library says otherwise");

 public:
  Pointer pass() {
    if constexpr (std::is_same_v<T, VARIANT>) {
      return value_.inout();
    } else {
      V_VT(value_.inout()) = type;
      Content& place = Automation<Content>::in(*value_.inout());
      place = Content{};  // a member that fails early leaves it as it is
      return reinterpret_cast<Pointer>(&place);
    }
  }
  HRESULT handOver(VARIANT& result) {
    result = value_.detach();
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
  HRESULT handOver(VARIANT& result) {
    return dispatch_detail::makeRecord(result, RecordId<T>::kId, &record_, sizeof record_);
  }

 private:
  T record_{};
};

}  // namespace zsupport
