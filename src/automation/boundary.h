// Where C++ ends and COM begins: no exception leaves a COM method.
#pragma once

#include <windows.h>

#include <initializer_list>
#include <type_traits>

namespace zsupport {

// The exception in flight as HRESULT and error object of the interface. Inside a handler only.
HRESULT reportToCaller(REFIID interfaceId) noexcept;

// The failure of a COM member that this library calls, back as the exception it was: with the
// number, source and description that the member left for its caller.
void checkCall(HRESULT result);

// Null pointers that a caller passes are refused before anything else happens.
using RequiredPointers = std::initializer_list<const void*>;
[[noreturn]] void refuseNull();
inline void requirePointer(const void* pointer) {
  if (!pointer) refuseNull();
}
template <class... Pointers>
void requirePointers(Pointers... pointers) {
  (requirePointer(pointers), ...);
}

// Runs the body of a COM method. A body may have an answer of its own.
template <class Body>
HRESULT atBoundary(REFIID interfaceId, Body&& body) noexcept {
  try {
    if constexpr (std::is_same_v<decltype(body()), HRESULT>) {
      return body();
    } else {
      body();
      return S_OK;
    }
  } catch (...) {
    return reportToCaller(interfaceId);
  }
}
template <class Body>
HRESULT atBoundary(REFIID interfaceId, RequiredPointers required, Body&& body) noexcept {
  return atBoundary(interfaceId, [&] {
    for (const void* const pointer : required) requirePointer(pointer);
    return body();
  });
}

}  // namespace zsupport
