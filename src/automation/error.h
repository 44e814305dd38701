// The one error type. Inside the library a failure is a thrown Error; at the COM boundary it
// becomes an HRESULT with IErrorInfo (see boundary.h).
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace zsupport {

// Run-time error numbers that the library raises or meets.
namespace runtime {
inline constexpr LONG kInvalidCall = 5;
inline constexpr LONG kOverflow = 6;
inline constexpr LONG kOutOfMemory = 7;
inline constexpr LONG kSubscriptOutOfRange = 9;
inline constexpr LONG kArrayLocked = 10;
inline constexpr LONG kTypeMismatch = 13;
inline constexpr LONG kOutOfStackSpace = 28;
inline constexpr LONG kBadFileName = 52;
inline constexpr LONG kDiskFull = 61;
inline constexpr LONG kDeviceUnavailable = 68;
inline constexpr LONG kPathFileAccess = 75;
inline constexpr LONG kPathNotFound = 76;
inline constexpr LONG kInvalidNull = 94;
inline constexpr LONG kInvalidArrayIndex = 381;
inline constexpr LONG kSetNotPermitted = 387;
inline constexpr LONG kCannotCreateObject = 429;
inline constexpr LONG kNoSuchMember = 438;
inline constexpr LONG kDuplicateKey = 457;
}  // namespace runtime

struct Error {
  LONG number = 0;  // a run-time number (1 to 65535) or a failure HRESULT
  std::wstring source;
  std::wstring description;
  std::wstring helpFile;
  DWORD helpContext = 0;
  bool isOwn = false;  // raised by a procedure of its own accord: it reaches the caller
};

// The source of errors that the platform's rules raise and no procedure of ours raises by name.
inline constexpr wchar_t kRuntimeSource[] = L"ZSupport";

// The standard text of a run-time number or an HRESULT.
std::wstring standardDescription(LONG number);

// An error with the given description, or the standard one of its number. Never fails: texts for
// which there is no memory stay empty.
Error makeError(LONG number, std::wstring_view source = kRuntimeSource,
                std::wstring_view description = {}) noexcept;

// The number under which a failure is told: the run-time's where it has one, else the HRESULT.
LONG runtimeNumberOf(HRESULT failure);

// Throws when a call of the platform failed, under the run-time number of the failure where it has
// one (bad argument 5, overflow 6, out of memory 7, bad index 9, locked array 10, type mismatch 13,
// unknown member 438).
void checkPlatform(HRESULT result);

// Throws when a call of the registry or another status-returning function failed.
void checkWin32(LSTATUS status);

// The failure of a file operation, as the run-time names it, from the thread's last error.
Error fileError();

// The exception in flight as an Error, whatever it is. Call inside a handler only. Never fails, as
// makeError.
Error currentError() noexcept;

// Run-time numbers travel as 0x800A0000 | n; failures pass unchanged.
HRESULT toHresult(LONG number);

// Overflow-checked whole-number arithmetic: error 6.
LONG addChecked(LONG a, LONG b);
LONG subtractChecked(LONG a, LONG b);

}  // namespace zsupport
