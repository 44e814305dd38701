#include "automation/coclass.h"

#include <oleauto.h>

namespace zsupport {
namespace {

// Hands out one description; the out pointer is null on every failure.
HRESULT handOut(REFGUID id, ITypeInfo** info) noexcept {
  if (!info) return E_POINTER;
  *info = nullptr;
  return atBoundary(IID_NULL, [&] { *info = typeInfoOf(id).detach(); });
}

}  // namespace

HRESULT ClassDescription::classInfo(ITypeInfo** info) const noexcept {
  return handOut(classId_, info);
}

HRESULT ClassDescription::sourceGuid(DWORD kind, GUID* guid) const noexcept {
  if (!guid) return E_POINTER;
  *guid = IID_NULL;
  if (kind != GUIDKIND_DEFAULT_SOURCE_DISP_IID) return E_INVALIDARG;
  *guid = sourceInterface_;
  return S_OK;
}

HRESULT ClassDescription::dispatchInfo(UINT index, ITypeInfo** info) const noexcept {
  if (!info) return E_POINTER;
  *info = nullptr;
  return index == 0 ? handOut(defaultInterface_, info) : DISP_E_BADINDEX;
}

HRESULT ClassDescription::idsOfNames(LPOLESTR* names, UINT count, DISPID* ids) const noexcept {
  if (!names || !ids) return E_POINTER;
  HRESULT result = S_OK;
  const HRESULT described = atBoundary(
      IID_NULL, [&] { result = typeInfoOf(defaultInterface_)->GetIDsOfNames(names, count, ids); });
  return FAILED(described) ? described : result;
}

HRESULT ClassDescription::invoke(IDispatch* self, DISPID member, WORD flags, DISPPARAMS* arguments,
                                 VARIANT* result, EXCEPINFO* exception,
                                 UINT* badArgument) const noexcept {
  HRESULT outcome = S_OK;
  const HRESULT described = atBoundary(IID_NULL, [&] {
    outcome = typeInfoOf(defaultInterface_)
                  ->Invoke(self, member, flags, arguments, result, exception, badArgument);
  });
  return FAILED(described) ? described : outcome;
}

}  // namespace zsupport
