// A file that others write, rename and delete while it is read.
#pragma once

#include <windows.h>

#include <string>

#include "handle.h"

namespace monitor {

// For reading, and nobody is kept from anything. Empty when it fails: GetLastError tells why.
inline Handle openShared(const std::wstring& path) {
  return Handle(CreateFileW(path.c_str(), GENERIC_READ,
                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

// A number that the system tells in halves.
inline ULONGLONG joined(DWORD high, DWORD low) { return static_cast<ULONGLONG>(high) << 32 | low; }

}  // namespace monitor
