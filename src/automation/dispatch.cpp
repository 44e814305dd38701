#include "automation/dispatch.h"

#include <windows.h>
#include <oleauto.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

#include "automation/boundary.h"
#include "automation/com_ptr.h"
#include "automation/type_library.h"

namespace zsupport {
namespace dispatch_detail {
namespace {

constexpr int kDeepest = 16;  // a variable may refer to itself

size_t sizeOfType(VARTYPE type) {
  if (type & VT_ARRAY) return sizeof(SAFEARRAY*);
  switch (type) {
    case VT_I1:
    case VT_UI1:
      return 1;
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
      return 2;
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_R4:
    case VT_ERROR:
    case VT_BSTR:
    case VT_DISPATCH:
    case VT_UNKNOWN:
      return 4;
    case VT_I8:
    case VT_UI8:
    case VT_R8:
    case VT_CY:
    case VT_DATE:
      return 8;
    default:
      return 0;
  }
}

}  // namespace

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

namespace {

bool isOmitted(const VARIANTARG& argument) {
  VARIANT value;
  return SUCCEEDED(dispatch_detail::borrow(value, argument)) && isMissing(value);
}

// Puts every argument where its parameter is.
HRESULT matchArguments(const Member& member, const DISPPARAMS& given,
                       std::span<const VARIANTARG*> supplied, UINT& bad) {
  if (given.cNamedArgs > given.cArgs || (given.cArgs > 0 && !given.rgvarg) ||
      (given.cNamedArgs > 0 && !given.rgdispidNamedArgs)) {
    return E_INVALIDARG;
  }
  const size_t positional = given.cArgs - given.cNamedArgs;
  if (given.cArgs > member.parameters) return DISP_E_BADPARAMCOUNT;
  for (size_t i = 0; i < positional; ++i) supplied[i] = &given.rgvarg[given.cArgs - 1 - i];
  for (UINT i = 0; i < given.cNamedArgs; ++i) {
    const DISPID id = given.rgdispidNamedArgs[i];
    const bool isNewValue = id == DISPID_PROPERTYPUT && member.kind == DISPATCH_PROPERTYPUT;
    const size_t parameter = isNewValue ? member.parameters - 1 : static_cast<size_t>(id);
    bad = i;
    if (parameter >= member.parameters || supplied[parameter]) return DISP_E_PARAMNOTFOUND;
    supplied[parameter] = &given.rgvarg[i];
  }
  const size_t required = member.parameters - member.defaults.size();
  for (size_t parameter = 0; parameter < member.parameters; ++parameter) {
    if (!supplied[parameter]) {
      if (parameter < required) return DISP_E_BADPARAMCOUNT;
    } else if (isOmitted(*supplied[parameter])) {
      // To a required parameter of any type it is a value like others.
      if (parameter < required && member.types[parameter] == VT_VARIANT) continue;
      bad = static_cast<UINT>(supplied[parameter] - given.rgvarg);
      if (parameter < required) return DISP_E_PARAMNOTOPTIONAL;
      supplied[parameter] = nullptr;
    }
  }
  return S_OK;
}

// The error that a member left for its caller, in the form that late-bound callers read.
HRESULT describeFailure(HRESULT failure, const ComPtr<IErrorInfo>& info, EXCEPINFO* exception) {
  if (!exception) return DISP_E_EXCEPTION;
  *exception = {};
  exception->scode = failure;
  if (info) {
    info->GetSource(&exception->bstrSource);
    info->GetDescription(&exception->bstrDescription);
    info->GetHelpFile(&exception->bstrHelpFile);
    info->GetHelpContext(&exception->dwHelpContext);
  }
  return DISP_E_EXCEPTION;
}

}  // namespace

HRESULT MemberTable::typeInfo(UINT index, ITypeInfo** info) const noexcept {
  if (!info) return E_POINTER;
  *info = nullptr;
  if (index != 0) return DISP_E_BADINDEX;
  return atBoundary(IID_NULL, [&] { *info = typeInfoOf(id_).detach(); });
}

HRESULT MemberTable::idsOfNames(LPOLESTR* names, UINT count, DISPID* ids) const noexcept {
  if (!names || !ids) return E_POINTER;
  if (count == 0) return E_INVALIDARG;
  if (knows(names, count, ids)) return S_OK;
  // The platform decides what else is a name: it ignores some characters, such as soft hyphens, and
  // knows the members of IDispatch itself.
  std::fill_n(ids, count, DISPID_UNKNOWN);
  if (std::find(names, names + count, nullptr) != names + count) return E_POINTER;
  ComPtr<ITypeInfo> info;
  const HRESULT described = typeInfo(0, info.put());
  return FAILED(described) ? described : info->GetIDsOfNames(names, count, ids);
}

// A member's name and, behind it, names of its parameters. Of members that share a name, the first
// one's parameters count.
bool MemberTable::knows(LPOLESTR* names, UINT count, DISPID* ids) const {
  if (!names[0]) return false;
  const auto place = byName_.find(hashOfName(names[0]), [&](size_t candidate) {
    return isSameName(members_[candidate].name, names[0]);
  });
  if (!place) return false;
  ids[0] = members_[*place].id;
  const auto parameters = members_[*place].parameterNames;
  for (UINT i = 1; i < count; ++i) {
    size_t position = 0;
    while (position < parameters.size() &&
           !(names[i] && isSameName(parameters[position], names[i])))
      ++position;
    if (position == parameters.size()) return false;
    ids[i] = static_cast<DISPID>(position);
  }
  return true;
}

HRESULT MemberTable::invoke(void* self, DISPID id, REFIID reserved, LCID locale, WORD flags,
                            DISPPARAMS* arguments, VARIANT* result, EXCEPINFO* exception,
                            UINT* badArgument) const noexcept {
  if (reserved != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
  if (!arguments) return E_INVALIDARG;
  const Member* const member = find(id, flags);
  if (!member) return DISP_E_MEMBERNOTFOUND;
  if (result) V_VT(result) = VT_EMPTY;

  std::array<const VARIANTARG*, kMostParameters> supplied{};
  const std::span<const VARIANTARG*> own(supplied.data(), member->parameters);
  UINT bad = 0;
  HRESULT outcome = matchArguments(*member, *arguments, own, bad);
  if (SUCCEEDED(outcome)) {
    Invocation invocation = {self, own, member->defaults, locale, result};
    outcome = member->call(invocation);
    if (SUCCEEDED(outcome)) return S_OK;
    if (invocation.failed) return describeFailure(outcome, invocation.error, exception);
    const VARIANTARG* const culprit = own[invocation.badParameter];
    bad = culprit ? static_cast<UINT>(culprit - arguments->rgvarg) : 0;
  }
  if (badArgument) *badArgument = bad;
  return outcome;
}

// A getter may be called as a method and a function be read: script engines do both. Setting an
// object reference sets the property.
const Member* MemberTable::find(DISPID id, WORD flags) const {
  const bool isPut = flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF);
  if (!isPut && !(flags & (DISPATCH_METHOD | DISPATCH_PROPERTYGET))) return nullptr;
  const auto place = byId_.find(hashOfId(id, isPut), [&](size_t candidate) {
    return members_[candidate].id == id && members_[candidate].isPut() == isPut;
  });
  return place ? &members_[*place] : nullptr;
}

}  // namespace zsupport
