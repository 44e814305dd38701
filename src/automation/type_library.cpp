#include "automation/type_library.h"

#include <oleauto.h>

#include <atomic>

#include "automation/error.h"
#include "automation/module.h"

namespace zsupport {

namespace {

// Kept for the life of the process: once objects are handed out the module is never unloaded, and
// at process end the automation library may be gone before us.
constinit std::atomic<ITypeLib*> keptLibrary{nullptr};

}  // namespace

ITypeLib* typeLibrary() {
  ITypeLib* library = keptLibrary;
  if (library) return library;
  checkPlatform(LoadTypeLibEx(modulePath().c_str(), REGKIND_NONE, &library));
  ITypeLib* expected = nullptr;
  if (keptLibrary.compare_exchange_strong(expected, library)) return library;
  library->Release();  // another thread was faster
  return expected;
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
