// Where C++ ends and COM begins: no exception leaves a COM method.
#pragma once

#include <windows.h>

#include <initializer_list>

namespace zsupport {

// The exception in flight as HRESULT and error object of the interface. Inside a handler only.
HRESULT reportToCaller(REFIID interfaceId) noexcept;

// The failure of a COM member that this library calls, back as the exception it was: with the
// number, source and description that the member left for its caller.
void checkCall(HRESULT result);

// Null pointers that a caller passes are refused before anything else happens.
void requirePointer(const void* pointer);
template <class... Pointers>
void requirePointers(Pointers... pointers) {
  (requirePointer(pointers), ...);
}

// Runs the body of a COM method.
template <class Body>
HRESULT atBoundary(REFIID interfaceId, Body&& body) noexcept {
  try {
    body();
    return S_OK;
  } catch (...) {
    return reportToCaller(interfaceId);
  }
}

// Of one that requires pointers.
template <class Body>
HRESULT atBoundary(REFIID interfaceId, std::initializer_list<const void*> required,
                   Body&& body) noexcept {
  return atBoundary(interfaceId, [&] {
    for (const void* const pointer : required) requirePointer(pointer);
    body();
  });
}

}  // namespace zsupport
