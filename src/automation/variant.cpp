#include "automation/variant.h"

#include <cmath>
#include <utility>

#include "automation/com_ptr.h"

namespace zsupport {
namespace {

Variant converted(const VARIANT& value, VARTYPE type) {
  Variant result;
  checkPlatform(changeType(result.inout(), value, LOCALE_USER_DEFAULT, type));
  return result;
}

// A text as the number that it reads as.
bool toNumber(const VARIANT& text, VARIANT& number) {
  V_VT(&number) = VT_R8;
  return V_BSTR(&text) &&
         SUCCEEDED(VarR8FromStr(V_BSTR(&text), LOCALE_USER_DEFAULT, 0, &V_R8(&number)));
}
bool toDecimal(const VARIANT& text, VARIANT& number) {
  const bool isNumber = V_BSTR(&text) && SUCCEEDED(VarDecFromStr(V_BSTR(&text), LOCALE_USER_DEFAULT,
                                                                 0, &V_DECIMAL(&number)));
  V_VT(&number) = VT_DECIMAL;
  return isNumber;
}

bool isObject(VARTYPE type) { return type == VT_DISPATCH || type == VT_UNKNOWN; }

// The value of an object's default member.
HRESULT readDefault(IUnknown* object, VARIANT* value, LCID locale) {
  const auto dispatch = ComPtr<IDispatch>::from(object);
  if (!dispatch) return DISP_E_TYPEMISMATCH;
  DISPPARAMS none{};
  return dispatch->Invoke(DISPID_VALUE, IID_NULL, locale, DISPATCH_PROPERTYGET | DISPATCH_METHOD,
                          &none, value, nullptr, nullptr);
}

bool isNumberOrDate(const VARIANT& value) {
  return typeOf(value) == VT_DATE || (typeOf(value) != VT_BSTR && isNumeric(value));
}

// Whole numbers that the platform does not compare.
bool isRefusedByVarCmp(VARTYPE type) {
  return isOneOf<VT_I1, VT_UI2, VT_UI4, VT_UI8, VT_INT, VT_UINT>(type);
}

// A number to the last digit; false for what no whole number can equal.
bool toExact(const VARIANT& number, DECIMAL& exact) {
  constexpr double kTooLarge = 18'446'744'073'709'551'616.0;  // for every whole number's type
  const VARTYPE type = typeOf(number);
  if (type == VT_R4 || type == VT_R8 || type == VT_DATE) {
    const double value = type == VT_R4 ? double{V_R4(&number)} : V_R8(&number);
    if (std::trunc(value) != value || std::abs(value) >= kTooLarge) return false;
    const HRESULT result = VarDecFromUI8(static_cast<ULONG64>(std::abs(value)), &exact);
    exact.sign = value < 0 ? DECIMAL_NEG : 0;
    return SUCCEEDED(result);
  }
  if (type == VT_UI8) return SUCCEEDED(VarDecFromUI8(V_UI8(&number), &exact));
  if (isWhole(number)) return SUCCEEDED(VarDecFromI8(toLongLong(number), &exact));
  Variant decimal;
  const HRESULT result = changeType(decimal.inout(), number, LOCALE_USER_DEFAULT, VT_DECIMAL);
  exact = V_DECIMAL(&decimal.get());
  return SUCCEEDED(result);
}

std::optional<bool> compareNumbers(const VARIANT& a, const VARIANT& b) {
  if (!isNumberOrDate(a) || !isNumberOrDate(b)) return std::nullopt;
  if (isRefusedByVarCmp(typeOf(a)) || isRefusedByVarCmp(typeOf(b))) {
    DECIMAL first, second;
    return toExact(a, first) && toExact(b, second) &&
           VarDecCmp(&first, &second) == static_cast<HRESULT>(VARCMP_EQ);
  }
  const HRESULT order =
      VarCmp(const_cast<VARIANT*>(&a), const_cast<VARIANT*>(&b), LOCALE_USER_DEFAULT, 0);
  if (FAILED(order)) return std::nullopt;
  return order == static_cast<HRESULT>(VARCMP_EQ);
}

std::optional<bool> compareWithText(const VARIANT& text, const VARIANT& other) {
  if (typeOf(other) == VT_BSTR) return viewOf(V_BSTR(&text)) == viewOf(V_BSTR(&other));
  if (typeOf(other) == VT_EMPTY) return viewOf(V_BSTR(&text)).empty();
  if (!isNumberOrDate(other)) return std::nullopt;
  VARIANT number;
  const bool isNumber =
      isRefusedByVarCmp(typeOf(other)) ? toDecimal(text, number) : toNumber(text, number);
  if (!isNumber) return false;
  return compareNumbers(number, other);
}

}  // namespace

HRESULT readValue(const VARIANT& source, Variant& holder, const VARIANT*& value, LCID locale) {
  constexpr int kDeepest = 16;
  value = &source;
  for (int depth = 0; depth < kDeepest; ++depth) {
    const bool isReference = typeOf(*value) & VT_BYREF;
    if (!isReference && !isObject(typeOf(*value))) return S_OK;
    Variant next;
    const HRESULT read = isReference ? copyIndirect(next.inout(), *value)
                                     : readDefault(V_UNKNOWN(value), next.inout(), locale);
    if (FAILED(read)) return read;
    std::swap(*holder.inout(), *next.inout());
    value = &holder.get();
  }
  return DISP_E_TYPEMISMATCH;
}

HRESULT changeType(VARIANT* target, const VARIANT& source, LCID locale, VARTYPE type) {
  Variant holder;
  ComPtr<IUnknown> held;
  const VARIANT* value = &source;
  if (!isObject(type)) {
    const HRESULT read = readValue(source, holder, value, locale);
    if (FAILED(read)) return read;
  } else if (isObject(typeOf(source))) {
    held = ComPtr<IUnknown>(V_UNKNOWN(&source));
  }
  return VariantChangeTypeEx(target, const_cast<VARIANT*>(value), locale, VARIANT_ALPHABOOL, type);
}

HRESULT copyIndirect(VARIANT* target, const VARIANT& source) {
  constexpr int kDeepest = 16;  // a variable may refer to itself
  const VARIANT* value = &source;
  for (int depth = 0; typeOf(*value) == (VT_BYREF | VT_VARIANT); ++depth) {
    value = V_VARIANTREF(value);
    if (!value) return E_POINTER;
    if (depth == kDeepest) return DISP_E_TYPEMISMATCH;
  }
  if ((typeOf(*value) & VT_BYREF) && !V_BYREF(value)) return E_POINTER;
  const HRESULT result = VariantCopyInd(target, const_cast<VARIANT*>(value));
  // What could not be copied (a record that nothing describes) the platform leaves half done, and
  // cannot clear either.
  if (FAILED(result)) V_VT(target) = VT_EMPTY;
  return result;
}

bool isWhole(const VARIANT& value) {
  return isOneOf<VT_EMPTY, VT_I1, VT_I2, VT_I4, VT_I8, VT_INT, VT_UI1, VT_UI2, VT_UI4, VT_UI8,
                 VT_UINT, VT_BOOL>(typeOf(value));
}

bool isNumeric(const VARIANT& value) {
  VARIANT number;
  return isWhole(value) || isOneOf<VT_R4, VT_R8, VT_CY, VT_DECIMAL>(typeOf(value)) ||
         (typeOf(value) == VT_BSTR && toNumber(value, number));
}

std::optional<bool> compareEqual(const VARIANT& left, const VARIANT& right) {
  Variant leftHolder, rightHolder;
  const VARIANT *a, *b;
  if (FAILED(readValue(left, leftHolder, a)) || FAILED(readValue(right, rightHolder, b))) {
    return std::nullopt;
  }
  if (typeOf(*a) == VT_NULL || typeOf(*b) == VT_NULL) return false;
  if (typeOf(*a) == VT_BSTR) return compareWithText(*a, *b);
  if (typeOf(*b) == VT_BSTR) return compareWithText(*b, *a);
  if (typeOf(*a) == VT_ERROR && typeOf(*b) == VT_ERROR) return V_ERROR(a) == V_ERROR(b);
  return compareNumbers(*a, *b);
}

LONG toLong(const VARIANT& value) {
  const Variant number = converted(value, VT_I4);
  return V_I4(&number.get());
}

LONGLONG toLongLong(const VARIANT& value) {
  const Variant number = converted(value, VT_I8);
  return V_I8(&number.get());
}

Text toText(const VARIANT& value) {
  const VARIANT text = converted(value, VT_BSTR).detach();
  return Text::attach(V_BSTR(&text));
}

}  // namespace zsupport
