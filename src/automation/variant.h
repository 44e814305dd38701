// Automation values and the conversions that callers of the platform expect.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <optional>

#include "automation/error.h"
#include "automation/text.h"

namespace zsupport {

// Owner of one VARIANT. Late binding makes several of them a call, and most hold numbers or
// nothing: the platform is called only where there is something to free.
class Variant {
 public:
  Variant() { V_VT(&value_) = VT_EMPTY; }
  Variant(Variant&& other) noexcept : value_(other.detach()) {}
  Variant& operator=(const Variant&) = delete;
  ~Variant() { clear(); }

  const VARIANT& get() const { return value_; }
  // For by-reference and out parameters; what was held is freed first in the latter.
  VARIANT* inout() { return &value_; }
  VARIANT* put() {
    clear();
    return &value_;
  }
  VARIANT detach() {
    const VARIANT owned = value_;
    V_VT(&value_) = VT_EMPTY;
    return owned;
  }

 private:
  void clear() {
    const VARTYPE type = V_VT(&value_);
    const bool isPlain = type <= VT_DATE || type == VT_BOOL || type == VT_ERROR ||
                         (type >= VT_I1 && type <= VT_UINT);
    if (!isPlain) VariantClear(&value_);
    V_VT(&value_) = VT_EMPTY;
  }

  VARIANT value_;
};

inline VARIANT_BOOL toBoolean(bool value) { return value ? VARIANT_TRUE : VARIANT_FALSE; }

inline VARTYPE typeOf(const VARIANT& value) { return V_VT(&value); }

template <VARTYPE... types>
constexpr bool isOneOf(VARTYPE type) {
  return ((type == types) || ...);
}

// The C++ types that automation knows, with their place in a VARIANT.
template <class T, VARTYPE type>
struct AutomationType {
  static constexpr VARTYPE kType = type;
  static T& in(VARIANT& value) { return reinterpret_cast<T&>(V_UI1(&value)); }
};
template <class T>
struct Automation;
template <>
struct Automation<LONG> : AutomationType<LONG, VT_I4> {};
template <>
struct Automation<VARIANT_BOOL> : AutomationType<VARIANT_BOOL, VT_BOOL> {};
template <>
struct Automation<double> : AutomationType<double, VT_R8> {};
template <>
struct Automation<BSTR> : AutomationType<BSTR, VT_BSTR> {};
template <>
struct Automation<IDispatch*> : AutomationType<IDispatch*, VT_DISPATCH> {};
template <>
struct Automation<IUnknown*> : AutomationType<IUnknown*, VT_UNKNOWN> {};
// To late-bound callers, an enumerator is an object of unknown kind.
template <>
struct Automation<IEnumVARIANT*> : AutomationType<IEnumVARIANT*, VT_UNKNOWN> {};

// A value that owns nothing: what it refers to must outlive it.
template <class T>
VARIANT valueOf(T content) {
  VARIANT value;
  V_VT(&value) = Automation<T>::kType;
  Automation<T>::in(value) = content;
  return value;
}

// VariantCopyInd for values from anywhere: any depth of by-reference, and null references, which
// give E_POINTER.
HRESULT copyIndirect(VARIANT* target, const VARIANT& source);

// What a value stands for: the value itself, or in the holder what its references lead to and what
// the default member of an object gives. Reading that runs foreign code, which may take the source
// away. DISP_E_TYPEMISMATCH for nobody, and where object leads to object without end.
HRESULT readValue(const VARIANT& source, Variant& holder, const VARIANT*& value,
                  LCID locale = LOCALE_USER_DEFAULT);

// VariantChangeTypeEx with words for Booleans, of the value that the source stands for. (The
// platform follows an object that is its own value until the stack ends.)
HRESULT changeType(VARIANT* target, const VARIANT& source, LCID locale, VARTYPE type);

// A copy with every level of by-reference taken away.
inline void copyDereferenced(Variant& target, const VARIANT& source) {
  checkPlatform(copyIndirect(target.put(), source));
}

// The value itself, or a dereferenced copy of it in the holder when it is by reference.
inline const VARIANT& dereferenced(const VARIANT& value, Variant& holder) {
  if (!(typeOf(value) & VT_BYREF)) return value;
  copyDereferenced(holder, value);
  return holder.get();
}

// Whether a key given as a variant means a position: whole and floating numbers up to Double.
inline bool isPosition(const VARIANT& key) {
  return isOneOf<VT_I2, VT_I4, VT_R4, VT_R8, VT_UI1>(typeOf(key));
}

// True for an omitted optional argument.
inline bool isMissing(const VARIANT& value) {
  return typeOf(value) == VT_ERROR && V_ERROR(&value) == DISP_E_PARAMNOTFOUND;
}

// Whether a value that readValue gave is a whole number by its type; Booleans and Empty are.
bool isWhole(const VARIANT& value);

// Whether it counts as a number: numeric types, Empty, and text that reads as a number in the
// user's locale. A date does not.
bool isNumeric(const VARIANT& value);

// The run-time's equality of values: numbers, dates and Booleans by value, texts to the letter, a
// text and a number as numbers when the text reads as one; Empty is 0 and "", Null equals nothing.
// Of objects, the values of their default members. Empty for values that cannot be compared:
// arrays, records, objects without a value, errors with other values.
std::optional<bool> compareEqual(const VARIANT& a, const VARIANT& b);

// Conversions by the platform's rules; errors 6, 13 or 7.
LONG toLong(const VARIANT& value);
LONGLONG toLongLong(const VARIANT& value);
Text toText(const VARIANT& value);

}  // namespace zsupport
