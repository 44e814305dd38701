#include "frame/mdlGlobal.h"

#include "automation/boundary.h"
#include "automation/error.h"
#include "automation/module.h"
#include "automation/text.h"
#include "automation/variant.h"
#include "frame/mdlErrorHandling.h"
#include "frame/mdlSupport.h"
#include "frame/thread_state.h"

namespace zsupport {
namespace {

constexpr wchar_t kModule[] = L"mdlGlobal";

ComPtr<_GZSupport> (*createSupport)() = nullptr;

void readDebugValue(const wchar_t* name, const VARIANT& preset, Variant& value) {
  Text valueKey{name};
  Text sectionKey(AppRegRoot(false) + L"\\Debug");
  Variant presetCopy;
  copyDereferenced(presetCopy, preset);
  VARIANT_BOOL noPolicySet = VARIANT_FALSE;
  checkCall(SharedSupport().GetRegistryValue(valueKey.inout(), presetCopy.inout(),
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
  Variant value;
  readDebugValue(name, valueOf(preset), value);
  return toLong(value.get());
}

std::wstring readDebugText(const wchar_t* name) {
  Variant value;
  readDebugValue(name, valueOf(BSTR{}), value);
  return std::wstring(toText(value.get()).view());
}

BOOL CALLBACK EnumWindowsForSizeProc(HWND window, LPARAM box) {
  return atEntryPoint({kModule, L"Function EnumWindowsForSizeProc"}, TRUE, [&] {
    RECT edges, united;
    auto& whole = *reinterpret_cast<RECT*>(box);
    if ((GetWindowLongA(window, GWL_STYLE) & WS_VISIBLE) && GetWindowRect(window, &edges) &&
        UnionRect(&united, &whole, &edges)) {
      whole = united;
    }
    return TRUE;
  });
}

BOOL CALLBACK EnumWindowsForTagProc(HWND window, LPARAM propertyName) {
  return atEntryPoint({kModule, L"Function EnumWindowsForTagProc"}, TRUE, [&] {
    const HANDLE kTagged = reinterpret_cast<HANDLE>(1);
    if (GetPropA(window, reinterpret_cast<const char*>(propertyName)) != kTagged) return TRUE;
    threadState().taggedWindow = window;
    return FALSE;
  });
}

}  // namespace zsupport
