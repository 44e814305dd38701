#include "frame/mdlGlobal.h"

#include "automation/boundary.h"
#include "automation/error.h"
#include "automation/module.h"
#include "automation/text.h"
#include "automation/variant.h"
#include "frame/mdlSupport.h"
#include "frame/thread_state.h"

namespace zsupport {
namespace {

ComPtr<_GZSupport> (*createSupport)() = nullptr;

void readDebugValue(const wchar_t* name, const VARIANT& preset, Variant& value) {
  Text valueKey{name};
  Text sectionKey(AppRegRoot(false) + L"\\Debug");
  Variant presetCopy;
  copyDereferenced(presetCopy, preset);
  VARIANT_BOOL noPolicySet = VARIANT_FALSE;
  checkCall(SharedSupport().GetRegistryValue(valueKey.inout(), presetCopy.operator->(),
                                             sectionKey.inout(), &noPolicySet, value.put()));
}

}  // namespace

void setSupportFactory(ComPtr<_GZSupport> (*create)()) { createSupport = create; }

_GZSupport& SharedSupport() {
  ComPtr<_GZSupport>& shared = threadState().SharedSupport;
  if (!shared) {
    if (!createSupport) throw makeError(E_UNEXPECTED);
    shared = createSupport();
    holdModule(false);  // the library's own object is no reason to stay loaded
  }
  return *shared.get();
}

LONG readDebugLong(const wchar_t* name, LONG preset) {
  VARIANT number;
  V_VT(&number) = VT_I4;
  V_I4(&number) = preset;
  Variant value;
  readDebugValue(name, number, value);
  return toLong(value.get());
}

std::wstring readDebugText(const wchar_t* name) {
  VARIANT nothing;
  V_VT(&nothing) = VT_BSTR;
  V_BSTR(&nothing) = nullptr;
  Variant value;
  readDebugValue(name, nothing, value);
  return std::wstring(toText(value.get()).view());
}

}  // namespace zsupport
