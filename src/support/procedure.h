// How the members of GZSupport name themselves in errors, and how those that return a text run.
#pragma once

#include "ZSupport.h"
#include "automation/boundary.h"
#include "automation/text.h"
#include "frame/mdlErrorHandling.h"

namespace zsupport {

inline constexpr wchar_t kGZSupport[] = L"GZSupport";

inline Procedure supportProcedure(const wchar_t* procName) { return {kGZSupport, procName}; }

// The body of a COM method that returns a text: in its frame, through the pointer of the method;
// last come the method's other pointers, none of which may be null.
template <class Body, class... Pointers>
HRESULT returnText(const wchar_t* procName, BSTR* result, Body&& body, Pointers... others) {
  return atBoundary(__uuidof(_GZSupport), [&] {
    requirePointers(result, others...);
    *result = nullptr;
    *result = framed(supportProcedure(procName), [&] { return Text(body()); }).detach();
  });
}

}  // namespace zsupport
