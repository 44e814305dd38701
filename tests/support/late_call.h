// Calls through IDispatch, with all that they answer.
#pragma once

#include <algorithm>

#include "support/com.h"

inline DISPID idOf(IDispatch* object, std::wstring name) {
  DISPID id = DISPID_UNKNOWN;
  LPOLESTR names[] = {name.data()};
  EXPECT_EQ(S_OK, object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id));
  return id;
}

struct Call {
  Call() = default;
  Call(IDispatch* object, const wchar_t* member, std::vector<VARIANT> arguments = {},
       int flags = DISPATCH_METHOD) {
    make(object, idOf(object, member), flags, std::move(arguments));
  }
  // Arguments in the order of declaration; the names are those of the last ones.
  void make(IDispatch* object, DISPID member, int flags, std::vector<VARIANT> arguments,
            std::vector<DISPID> names = {}) {
    std::reverse(arguments.begin(), arguments.end());
    std::reverse(names.begin(), names.end());
    DISPPARAMS parameters = {arguments.data(), names.data(), static_cast<UINT>(arguments.size()),
                             static_cast<UINT>(names.size())};
    EXCEPINFO exception{};
    result = object->Invoke(member, IID_NULL, LOCALE_USER_DEFAULT, static_cast<WORD>(flags),
                            &parameters, value.put(), &exception, &badArgument);
    number = exception.scode;
    source = zsupport::viewOf(exception.bstrSource);
    description = zsupport::viewOf(exception.bstrDescription);
    for (BSTR text : {exception.bstrSource, exception.bstrDescription, exception.bstrHelpFile})
      SysFreeString(text);
  }

  HRESULT result = E_FAIL;
  Variant value;
  LONG number = 0;  // of the exception
  std::wstring source, description;
  UINT badArgument = 99;
};

// As an early-bound call would answer.
inline HRESULT resultOf(const Call& call) {
  return call.result == DISP_E_EXCEPTION ? call.number : call.result;
}
inline HRESULT late(IDispatch* object, const wchar_t* member, std::vector<VARIANT> arguments) {
  return resultOf(Call(object, member, std::move(arguments)));
}
