#include "automation/coclass.h"

#include "automation/boundary.h"
#include "automation/type_library.h"

namespace zsupport {

HRESULT classInfoOf(REFCLSID classId, ITypeInfo** info) noexcept {
  if (!info) return E_POINTER;
  *info = nullptr;
  return atBoundary(IID_NULL, [&] { *info = typeInfoOf(classId).detach(); });
}

HRESULT sourceGuidOf(REFIID sourceInterface, DWORD kind, GUID* guid) noexcept {
  if (!guid) return E_POINTER;
  *guid = IID_NULL;
  if (kind != GUIDKIND_DEFAULT_SOURCE_DISP_IID) return E_INVALIDARG;
  if (sourceInterface == IID_NULL) return E_FAIL;
  *guid = sourceInterface;
  return S_OK;
}

}  // namespace zsupport
