#include "automation/dispatch_values.h"

#include <cstring>
#include <new>

#include "automation/boundary.h"
#include "automation/com_ptr.h"
#include "automation/type_library.h"

namespace zsupport {
namespace dispatch_detail {
namespace {

constexpr int kDeepest = 16;  // a variable may refer to itself

}  // namespace

size_t sizeOfType(VARTYPE type) {
  if (isOneOf<VT_I1, VT_UI1>(type)) return 1;
  if (isOneOf<VT_I2, VT_UI2, VT_BOOL>(type)) return 2;
  if (isOneOf<VT_I8, VT_UI8, VT_R8, VT_CY, VT_DATE>(type)) return 8;
  const bool isWord =
      isOneOf<VT_I4, VT_UI4, VT_INT, VT_UINT, VT_R4, VT_ERROR, VT_BSTR, VT_DISPATCH, VT_UNKNOWN>(
          type);
  return isWord || (type & VT_ARRAY) ? 4 : 0;
}

const VARIANT* variableOf(const VARIANT* argument) {
  for (int depth = 0; typeOf(*argument) == (VT_BYREF | VT_VARIANT); ++depth) {
    argument = V_VARIANTREF(argument);
    if (!argument || depth == kDeepest) return nullptr;
  }
  return argument;
}

HRESULT borrow(VARIANT& value, const VARIANT& argument) {
  const VARIANT* const variable = variableOf(&argument);
  if (!variable) return DISP_E_TYPEMISMATCH;
  if (!(typeOf(*variable) & VT_BYREF)) {
    value = *variable;
    return S_OK;
  }
  const void* const place = V_BYREF(variable);
  const auto type = static_cast<VARTYPE>(typeOf(*variable) & ~VT_BYREF);
  if (!place) return DISP_E_TYPEMISMATCH;
  VariantInit(&value);
  if (type == VT_RECORD) {
    value = *variable;
  } else if (type == VT_DECIMAL) {
    V_DECIMAL(&value) = *static_cast<const DECIMAL*>(place);
  } else {
    const size_t size = sizeOfType(type);
    if (size == 0) return DISP_E_BADVARTYPE;
    std::memcpy(&V_UI1(&value), place, size);
  }
  V_VT(&value) = type;
  return S_OK;
}

HRESULT convertTo(VARIANT& copy, const VARIANT& argument, VARTYPE type, LCID locale) {
  VARIANT value;
  const HRESULT borrowed = borrow(value, argument);
  if (FAILED(borrowed)) return borrowed;
  if (typeOf(value) == type) return VariantCopy(&copy, &value);
  return changeType(&copy, value, locale, type);
}

HRESULT makeDefault(VARIANT& copy, const Default* preset, VARTYPE type) {
  if (!preset) return DISP_E_PARAMNOTOPTIONAL;
  V_VT(&copy) = type == VT_VARIANT ? preset->type : type;
  if (preset->text) {
    V_BSTR(&copy) = SysAllocString(preset->text);
    return V_BSTR(&copy) ? S_OK : E_OUTOFMEMORY;
  }
  V_I4(&copy) = preset->number;  // a Boolean is its lower half
  return S_OK;
}

HRESULT storeIn(const VARIANT& argument, const VARIANT& value, LCID locale) {
  auto* const variable = const_cast<VARIANT*>(variableOf(&argument));
  if (!variable) return DISP_E_TYPEMISMATCH;
  if (!(typeOf(*variable) & VT_BYREF)) {
    return variable == &argument ? S_OK : VariantCopy(variable, const_cast<VARIANT*>(&value));
  }
  if (!V_BYREF(variable)) return DISP_E_TYPEMISMATCH;
  Variant converted;
  const auto own = static_cast<VARTYPE>(typeOf(*variable) & ~VT_BYREF);
  const HRESULT result = convertTo(*converted.inout(), value, own, locale);
  if (FAILED(result)) return result;
  if (own == VT_DECIMAL) {
    *V_DECIMALREF(variable) = V_DECIMAL(&converted.get());
    V_DECIMALREF(variable)->wReserved = 0;
    return S_OK;
  }
  // Swapped, so that what the variable held is freed with the copy.
  const size_t size = sizeOfType(own);
  std::byte old[8];
  std::memcpy(old, V_BYREF(variable), size);
  std::memcpy(V_BYREF(variable), &V_UI1(converted.inout()), size);
  std::memcpy(&V_UI1(converted.inout()), old, size);
  return S_OK;
}

void* recordIn(const VARIANT& variable, REFGUID id) {
  if ((typeOf(variable) & ~VT_BYREF) != VT_RECORD || !V_RECORDINFO(&variable)) return nullptr;
  GUID own;
  return SUCCEEDED(V_RECORDINFO(&variable)->GetGuid(&own)) && own == id ? V_RECORD(&variable)
                                                                        : nullptr;
}

HRESULT makeRecord(VARIANT& value, REFGUID id, const void* content, size_t size) {
  return atBoundary(IID_NULL, [&] {
    ComPtr<IRecordInfo> info = recordInfoOf(id);
    void* const record = info->RecordCreate();
    if (!record) throw std::bad_alloc();
    std::memcpy(record, content, size);
    V_RECORD(&value) = record;
    V_RECORDINFO(&value) = info.detach();
    V_VT(&value) = VT_RECORD;
  });
}

}  // namespace dispatch_detail

}  // namespace zsupport
