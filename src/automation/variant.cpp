#include "automation/variant.h"

namespace zsupport {
namespace {

void convert(Variant& target, const VARIANT& value, VARTYPE type) {
  checkPlatform(VariantChangeTypeEx(target.put(), const_cast<VARIANT*>(&value), LOCALE_USER_DEFAULT,
                                    VARIANT_ALPHABOOL, type));
}

}  // namespace

HRESULT copyIndirect(VARIANT* target, const VARIANT& source) {
  constexpr int kDeepest = 16;  // a variable may refer to itself
  const VARIANT* value = &source;
  for (int depth = 0; typeOf(*value) == (VT_BYREF | VT_VARIANT); ++depth) {
    value = V_VARIANTREF(value);
    if (!value) return E_POINTER;
    if (depth == kDeepest) return DISP_E_TYPEMISMATCH;
  }
  if ((typeOf(*value) & VT_BYREF) && !V_BYREF(value)) return E_POINTER;
  return VariantCopyInd(target, const_cast<VARIANT*>(value));
}

bool isNumeric(const VARIANT& value) {
  switch (typeOf(value)) {
    case VT_EMPTY:
    case VT_I1:
    case VT_I2:
    case VT_I4:
    case VT_I8:
    case VT_INT:
    case VT_UI1:
    case VT_UI2:
    case VT_UI4:
    case VT_UI8:
    case VT_UINT:
    case VT_R4:
    case VT_R8:
    case VT_CY:
    case VT_DECIMAL:
    case VT_BOOL:
      return true;
    case VT_BSTR: {
      double number;
      return V_BSTR(&value) &&
             SUCCEEDED(VarR8FromStr(V_BSTR(&value), LOCALE_USER_DEFAULT, 0, &number));
    }
    default:
      return false;
  }
}

bool areEqual(const VARIANT& left, const VARIANT& right) {
  Variant leftHolder, rightHolder;
  const VARIANT& a = dereferenced(left, leftHolder);
  const VARIANT& b = dereferenced(right, rightHolder);
  const bool aIsText = typeOf(a) == VT_BSTR, bIsText = typeOf(b) == VT_BSTR;
  if (aIsText && bIsText) return viewOf(V_BSTR(&a)) == viewOf(V_BSTR(&b));
  if (aIsText || bIsText) {
    const VARIANT& text = aIsText ? a : b;
    return typeOf(aIsText ? b : a) == VT_EMPTY && viewOf(V_BSTR(&text)).empty();
  }
  // Of two objects, VarCmp would compare the values of their default members.
  const auto isComparable = [](const VARIANT& value) {
    return isNumeric(value) || typeOf(value) == VT_DATE;
  };
  return isComparable(a) && isComparable(b) &&
         VarCmp(const_cast<VARIANT*>(&a), const_cast<VARIANT*>(&b), LOCALE_USER_DEFAULT, 0) ==
             static_cast<HRESULT>(VARCMP_EQ);
}

LONG toLong(const VARIANT& value) {
  Variant number;
  convert(number, value, VT_I4);
  return V_I4(&number.get());
}

Text toText(const VARIANT& value) {
  Variant text;
  convert(text, value, VT_BSTR);
  Text result;
  std::swap(*result.inout(), V_BSTR(text.operator->()));
  return result;
}

}  // namespace zsupport
