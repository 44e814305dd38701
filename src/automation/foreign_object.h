// Objects of other servers: finding and creating them by class name, and calling them late bound.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include <initializer_list>
#include <string>

#include "automation/com_ptr.h"
#include "automation/variant.h"

namespace zsupport {

// What a late-bound call says of its failure: texts that the caller of Invoke has to free.
struct CallFailure : EXCEPINFO {
  CallFailure() : EXCEPINFO{} {}
  CallFailure(const CallFailure&) = delete;
  CallFailure& operator=(const CallFailure&) = delete;
  ~CallFailure() {
    SysFreeString(bstrSource);
    SysFreeString(bstrDescription);
    SysFreeString(bstrHelpFile);
  }
};

// A new object of a class ("Server.Class"); error 429.
ComPtr<IDispatch> createObject(const std::wstring& className);

// The instance that is in the running-object table; empty when there is none.
ComPtr<IDispatch> runningObject(const std::wstring& className);

// Calls a member, arguments last first; a failure is thrown as the object tells it.
void callMember(IDispatch& object, DISPID member, WORD kind,
                std::initializer_list<VARIANT> arguments, Variant& result);

}  // namespace zsupport
