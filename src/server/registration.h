// The registry keys by which clients find the library.
#pragma once

#include <windows.h>

namespace zsupport {

enum class RegistrationScope { kMachine, kCurrentUser };

// Writes all keys of the library, or none: what a failed attempt had written is taken back.
HRESULT registerServer(RegistrationScope scope) noexcept;

// Removes all keys of the library that are this library's.
HRESULT unregisterServer(RegistrationScope scope) noexcept;

}  // namespace zsupport
