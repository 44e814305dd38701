// mdlErrorHandling: the error frame that every procedure of the library runs in.
#pragma once

#include <windows.h>

#include <string_view>
#include <utility>

namespace zsupport {

// A procedure as its errors name it: class or module, and kind word with name.
struct Procedure {
  const wchar_t* ClassName;
  const wchar_t* ProcName;
};

// Records the exception in flight with the thread's trace service. When the thread raises errors,
// throws it again, labelled with this procedure; otherwise returns the trace service's action
// code. Never fails in any other way. Call inside a handler only; but an information is recorded as
// such, is no error, and is never raised.
LONG HandleError(const wchar_t* ClassName, const wchar_t* ProcName, bool bInformation,
                 LONG lReserved);

// Whether errors of this thread reach callers (from then on) or are only recorded. The library
// sets True before it raises an error of its own and never sets False again: deliberate.
void SetRaiseErrors(bool Flag) noexcept;

// Raises an error of a procedure's own: SetRaiseErrors(True), then the error with the standard
// description of its number, or with the given one. Needs no memory to reach the caller.
[[noreturn]] void raiseOwn(LONG number, std::wstring_view source,
                           std::wstring_view description = {});

// Runs the body of a procedure in its error frame. A failure that is recorded but not raised ends
// the procedure with the empty value of its result type. Retry and continue cannot be carried out
// in the middle of a body, so every action code means: leave.
template <class Body>
auto framed(const Procedure& procedure, Body&& body) -> decltype(body()) {
  try {
    return body();
  } catch (...) {
    HandleError(procedure.ClassName, procedure.ProcName, false, 0);
  }
  return decltype(body())();
}

// The frame of an entry point of a hand-built object. Those who call it know nothing of run-time
// errors: whether a failure is raised or only recorded, it stops here, and they get the given
// result.
template <class Result, class Body>
Result atEntryPoint(const Procedure& procedure, Result onFailure, Body&& body) noexcept {
  Result result = onFailure;
  try {
    framed(procedure, [&] { result = body(); });
  } catch (...) {
    // Recorded by the frame.
  }
  return result;
}

}  // namespace zsupport
