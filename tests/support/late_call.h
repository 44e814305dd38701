// Calls through IDispatch, with all that they answer.
#pragma once

#include <algorithm>

#include "support/com.h"

struct Call {
  HRESULT result;
  Variant value;
  LONG number = 0;  // of the exception
  std::wstring source, description;
  UINT badArgument = 99;
};

inline DISPID idOf(IDispatch* object, std::wstring name) {
  DISPID id = DISPID_UNKNOWN;
  LPOLESTR names[] = {name.data()};
  EXPECT_EQ(S_OK, object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id));
  return id;
}

// Arguments in the order of declaration; the names are those of the last ones.
inline void call(Call& outcome, IDispatch* object, DISPID member, int flags, std::vector<VARIANT> arguments,
                 std::vector<DISPID> names = {}) {
  std::reverse(arguments.begin(), arguments.end());
  std::reverse(names.begin(), names.end());
  DISPPARAMS parameters = {arguments.data(), names.data(), static_cast<UINT>(arguments.size()),
                           static_cast<UINT>(names.size())};
  EXCEPINFO exception{};
  outcome.result = object->Invoke(member, IID_NULL, LOCALE_USER_DEFAULT, static_cast<WORD>(flags), &parameters,
                                  outcome.value.put(), &exception, &outcome.badArgument);
  Text source, description;
  *source.inout() = exception.bstrSource;
  *description.inout() = exception.bstrDescription;
  SysFreeString(exception.bstrHelpFile);
  outcome.number = exception.scode;
  outcome.source = source.view();
  outcome.description = description.view();
}

inline VARIANT objectValue(IDispatch* object) {
  VARIANT v = valueOfType(VT_DISPATCH);
  V_DISPATCH(&v) = object;
  return v;
}
