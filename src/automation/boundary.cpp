#include "automation/boundary.h"

#include <windows.h>
#include <oleauto.h>

#include "automation/com_ptr.h"
#include "automation/error.h"
#include "automation/text.h"

namespace zsupport {
namespace {

void setErrorObject(REFIID interfaceId, const Error& error) {
  const auto creator =
      obtain<ICreateErrorInfo>([](ICreateErrorInfo** out) { return CreateErrorInfo(out); });
  if (!creator) {
    SetErrorInfo(0, nullptr);  // an earlier error is not this one
    return;
  }
  creator->SetGUID(interfaceId);
  creator->SetSource(const_cast<LPOLESTR>(error.source.c_str()));
  creator->SetDescription(const_cast<LPOLESTR>(error.description.c_str()));
  creator->SetHelpFile(const_cast<LPOLESTR>(error.helpFile.c_str()));
  creator->SetHelpContext(error.helpContext);
  if (const auto info = ComPtr<IErrorInfo>::from(creator.get())) SetErrorInfo(0, info.get());
}

}  // namespace

HRESULT reportToCaller(REFIID interfaceId) noexcept {
  const Error error = currentError();
  try {
    setErrorObject(interfaceId, error);
  } catch (...) {
    SetErrorInfo(0, nullptr);  // no memory for the texts: the number alone
  }
  return toHresult(error.number);
}

void checkCall(HRESULT result) {
  if (SUCCEEDED(result)) return;
  Error error = makeError(runtimeNumberOf(result));
  const auto info = obtain<IErrorInfo>([](IErrorInfo** out) { return GetErrorInfo(0, out); });
  if (info) {
    Text source, description, helpFile;
    info->GetSource(source.inout());
    info->GetDescription(description.inout());
    info->GetHelpFile(helpFile.inout());
    info->GetHelpContext(&error.helpContext);
    error.source = source.view();
    error.description = description.view();
    error.helpFile = helpFile.view();
  }
  throw error;
}

void refuseNull() { throw makeError(E_POINTER); }

}  // namespace zsupport
