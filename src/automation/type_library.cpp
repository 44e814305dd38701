#include "automation/type_library.h"

#include <oleauto.h>

#include "automation/error.h"
#include "automation/module.h"

namespace zsupport {

ITypeLib* typeLibrary() {
  // Kept for the life of the process: the module is never unloaded, and at process end the
  // automation library may be gone before us.
  static ITypeLib* const library = [] {
    ITypeLib* loaded = nullptr;
    checkPlatform(LoadTypeLibEx(modulePath().c_str(), REGKIND_NONE, &loaded));
    return loaded;
  }();
  return library;
}

GUID typeLibraryId() {
  TLIBATTR* attributes = nullptr;
  checkPlatform(typeLibrary()->GetLibAttr(&attributes));
  const GUID id = attributes->guid;
  typeLibrary()->ReleaseTLibAttr(attributes);
  return id;
}

ComPtr<ITypeInfo> typeInfoOf(REFGUID id) {
  ComPtr<ITypeInfo> info;
  checkPlatform(typeLibrary()->GetTypeInfoOfGuid(id, info.put()));
  return info;
}

ComPtr<IRecordInfo> recordInfoOf(REFGUID id) {
  ComPtr<IRecordInfo> info;
  checkPlatform(GetRecordInfoFromTypeInfo(typeInfoOf(id).get(), info.put()));
  return info;
}

}  // namespace zsupport
