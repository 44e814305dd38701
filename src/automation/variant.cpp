#include "automation/variant.h"

#include "automation/com_ptr.h"

namespace zsupport {
namespace {

void convert(Variant& target, const VARIANT& value, VARTYPE type) {
  checkPlatform(changeType(target.put(), value, LOCALE_USER_DEFAULT, type));
}

// A text as the number that it reads as.
bool toNumber(const VARIANT& text, VARIANT& number) {
  V_VT(&number) = VT_R8;
  return V_BSTR(&text) &&
         SUCCEEDED(VarR8FromStr(V_BSTR(&text), LOCALE_USER_DEFAULT, 0, &V_R8(&number)));
}

}  // namespace

HRESULT changeType(VARIANT* target, const VARIANT& source, LCID locale, VARTYPE type) {
  ComPtr<IUnknown> held;
  if (typeOf(source) == VT_DISPATCH || typeOf(source) == VT_UNKNOWN) {
    held = ComPtr<IUnknown>(V_UNKNOWN(&source));
  }
  return VariantChangeTypeEx(target, const_cast<VARIANT*>(&source), locale, VARIANT_ALPHABOOL,
                             type);
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
      VARIANT number;
      return toNumber(value, number);
    }
    default:
      return false;
  }
}

const VARIANT* plainValue(const VARIANT& value, Variant& holder) {
  constexpr int kDeepest = 16;  // the value of an object may be an object
  const VARIANT* plain = &dereferenced(value, holder);
  for (int depth = 0; typeOf(*plain) == VT_DISPATCH || typeOf(*plain) == VT_UNKNOWN; ++depth) {
    const auto object = ComPtr<IDispatch>::from(V_UNKNOWN(plain));
    DISPPARAMS none{};
    if (!object || depth == kDeepest ||
        FAILED(object->Invoke(DISPID_VALUE, IID_NULL, LOCALE_USER_DEFAULT,
                              DISPATCH_PROPERTYGET | DISPATCH_METHOD, &none, holder.put(), nullptr,
                              nullptr))) {
      return nullptr;
    }
    plain = &holder.get();
  }
  return plain;
}

namespace {

bool isNumberOrDate(const VARIANT& value) {
  return typeOf(value) == VT_DATE || (typeOf(value) != VT_BSTR && isNumeric(value));
}

std::optional<bool> compareNumbers(const VARIANT& a, const VARIANT& b) {
  if (!isNumberOrDate(a) || !isNumberOrDate(b)) return std::nullopt;
  return VarCmp(const_cast<VARIANT*>(&a), const_cast<VARIANT*>(&b), LOCALE_USER_DEFAULT, 0) ==
         static_cast<HRESULT>(VARCMP_EQ);
}

std::optional<bool> compareWithText(const VARIANT& text, const VARIANT& other) {
  if (typeOf(other) == VT_BSTR) return viewOf(V_BSTR(&text)) == viewOf(V_BSTR(&other));
  if (typeOf(other) == VT_EMPTY) return viewOf(V_BSTR(&text)).empty();
  if (!isNumberOrDate(other)) return std::nullopt;
  VARIANT number;
  return toNumber(text, number) && compareNumbers(number, other).value_or(false);
}

}  // namespace

std::optional<bool> compareEqual(const VARIANT& left, const VARIANT& right) {
  Variant leftHolder, rightHolder;
  const VARIANT* const a = plainValue(left, leftHolder);
  const VARIANT* const b = a ? plainValue(right, rightHolder) : nullptr;
  if (!a || !b) return std::nullopt;
  if (typeOf(*a) == VT_NULL || typeOf(*b) == VT_NULL) return false;
  if (typeOf(*a) == VT_BSTR) return compareWithText(*a, *b);
  if (typeOf(*b) == VT_BSTR) return compareWithText(*b, *a);
  if (typeOf(*a) == VT_ERROR && typeOf(*b) == VT_ERROR) return V_ERROR(a) == V_ERROR(b);
  return compareNumbers(*a, *b);
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
