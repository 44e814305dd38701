#include "automation/dispatch.h"

#include <windows.h>
#include <oleauto.h>

#include <algorithm>
#include <array>

#include "automation/boundary.h"
#include "automation/com_ptr.h"
#include "automation/type_library.h"

namespace zsupport {
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
    const VARIANTARG* const culprit = supplied[invocation.badParameter];
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
