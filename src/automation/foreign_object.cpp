#include "automation/foreign_object.h"

#include <oleauto.h>

#include "automation/error.h"

namespace zsupport {
namespace {

Error errorOf(const CallFailure& failure) {
  const HRESULT code = failure.wCode ? failure.wCode : failure.scode;
  Error error = makeError(runtimeNumberOf(code));
  if (failure.bstrSource) error.source = viewOf(failure.bstrSource);
  if (failure.bstrDescription) error.description = viewOf(failure.bstrDescription);
  if (failure.bstrHelpFile) error.helpFile = viewOf(failure.bstrHelpFile);
  error.helpContext = failure.dwHelpContext;
  return error;
}

}  // namespace

ComPtr<IDispatch> createObject(const std::wstring& className) {
  CLSID classId;
  ComPtr<IDispatch> object;
  if (FAILED(CLSIDFromProgID(className.c_str(), &classId)) ||
      FAILED(CoCreateInstance(classId, nullptr, CLSCTX_SERVER, IID_IDispatch, object.putVoid())) ||
      !object) {
    throw makeError(runtime::kCannotCreateObject);
  }
  return object;
}

ComPtr<IDispatch> runningObject(const std::wstring& className) {
  CLSID classId;
  if (FAILED(CLSIDFromProgID(className.c_str(), &classId))) return {};
  const auto found =
      obtain<IUnknown>([&](IUnknown** out) { return GetActiveObject(classId, nullptr, out); });
  return ComPtr<IDispatch>::from(found.get());
}

void callMember(IDispatch& object, DISPID member, WORD kind,
                std::initializer_list<VARIANT> arguments, Variant& result) {
  DISPID newValue = DISPID_PROPERTYPUT;
  const bool isPut = kind == DISPATCH_PROPERTYPUT;
  DISPPARAMS parameters = {const_cast<VARIANT*>(arguments.begin()), isPut ? &newValue : nullptr,
                           static_cast<UINT>(arguments.size()), isPut ? 1u : 0u};
  CallFailure failure;
  UINT badArgument = 0;
  const HRESULT outcome = object.Invoke(member, IID_NULL, LOCALE_USER_DEFAULT, kind, &parameters,
                                        isPut ? nullptr : result.put(), &failure, &badArgument);
  if (outcome == DISP_E_EXCEPTION) {
    if (failure.pfnDeferredFillIn) failure.pfnDeferredFillIn(&failure);
    throw errorOf(failure);
  }
  checkPlatform(outcome);
}

}  // namespace zsupport
