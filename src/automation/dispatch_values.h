// The values of a late-bound call: what an argument stands for, converted copies, and the way back
// into a caller's variable.
#pragma once

#include <windows.h>
#include <oleauto.h>

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

// In bytes, as a VARIANT refers to it; 0 for what it holds otherwise than in its eight bytes.
size_t sizeOfType(VARTYPE type);

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
}  // namespace zsupport
