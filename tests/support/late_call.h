// Calls through IDispatch, with all that they answer.
#pragma once

#include <algorithm>

#include "support/com.h"

struct Call {
  // Arguments in the order of declaration; the names are those of the last ones.
  Call(IDispatch* object, std::wstring member, std::vector<VARIANT> arguments = {},
       int flags = DISPATCH_METHOD, std::vector<DISPID> names = {}) {
    std::reverse(arguments.begin(), arguments.end());
    std::reverse(names.begin(), names.end());
    DISPID id = DISPID_UNKNOWN;
    LPOLESTR idName[] = {member.data()};
    EXPECT_EQ(S_OK, object->GetIDsOfNames(IID_NULL, idName, 1, LOCALE_USER_DEFAULT, &id));
    DISPPARAMS parameters = {arguments.data(), names.data(), static_cast<UINT>(arguments.size()),
                             static_cast<UINT>(names.size())};
    EXCEPINFO exception{};
    result = object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, static_cast<WORD>(flags),
                            &parameters, value.put(), &exception, &badArgument);
    if (result == DISP_E_EXCEPTION) result = exception.scode;
    for (BSTR text : {exception.bstrSource, exception.bstrDescription, exception.bstrHelpFile})
      SysFreeString(text);
  }

  HRESULT result;  // or the number of the exception
  Variant value;
  UINT badArgument = 99;
};

inline HRESULT late(IDispatch* object, const wchar_t* member, std::vector<VARIANT> arguments) {
  return Call(object, member, std::move(arguments)).result;
}
