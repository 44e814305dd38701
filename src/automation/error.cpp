#include "automation/error.h"

#include <exception>
#include <iterator>
#include <new>
#include <string_view>
#include <utility>

namespace zsupport {
namespace {

struct StandardText {
  LONG number;
  const wchar_t* text;
};

constexpr StandardText kStandardTexts[] = {
    {runtime::kInvalidCall, L"Invalid procedure call or argument"},
    {runtime::kOverflow, L"Overflow"},
    {runtime::kOutOfMemory, L"Out of memory"},
    {runtime::kSubscriptOutOfRange, L"Subscript out of range"},
    {runtime::kArrayLocked, L"This array is fixed or temporarily locked"},
    {runtime::kTypeMismatch, L"Type mismatch"},
    {runtime::kOutOfStackSpace, L"Out of stack space"},
    {runtime::kBadFileName, L"Bad file name or number"},
    {runtime::kDiskFull, L"Disk full"},
    {runtime::kDeviceUnavailable, L"Device unavailable"},
    {runtime::kPathFileAccess, L"Path/File access error"},
    {runtime::kPathNotFound, L"Path not found"},
    {runtime::kInvalidNull, L"Invalid use of Null"},
    {runtime::kInvalidArrayIndex, L"Invalid property array index"},
    {runtime::kSetNotPermitted, L"Set not permitted"},
    {runtime::kCannotCreateObject, L"ActiveX component can't create object"},
    {runtime::kNoSuchMember, L"Object doesn't support this property or method"},
    {runtime::kDuplicateKey, L"This key is already associated with an element of this collection"},
};

template <class Step>
void asFarAsMemoryGoes(Step&& step) noexcept {
  try {
    step();
  } catch (const std::bad_alloc&) {
  }
}

Error copyOf(const Error& error) noexcept {
  Error copy;
  copy.number = error.number;
  copy.helpContext = error.helpContext;
  copy.isOwn = error.isOwn;
  asFarAsMemoryGoes([&] { copy.source = error.source; });
  asFarAsMemoryGoes([&] { copy.description = error.description; });
  asFarAsMemoryGoes([&] { copy.helpFile = error.helpFile; });
  return copy;
}

std::wstring systemText(HRESULT result) {
  wchar_t buffer[512];
  DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                static_cast<DWORD>(result), 0, buffer,
                                static_cast<DWORD>(std::size(buffer)), nullptr);
  while (length > 0 && (buffer[length - 1] == L'\n' || buffer[length - 1] == L'\r')) --length;
  return length > 0 ? std::wstring(buffer, length) : L"Automation error";
}

}  // namespace

std::wstring standardDescription(LONG number) {
  for (const auto& [known, text] : kStandardTexts) {
    if (known == number) return text;
  }
  return number < 0 ? systemText(number) : L"Application-defined or object-defined error";
}

Error makeError(LONG number, std::wstring_view source, std::wstring_view description) noexcept {
  Error error;
  error.number = number;
  asFarAsMemoryGoes([&] { error.source = source; });
  asFarAsMemoryGoes([&] {
    error.description =
        description.empty() ? standardDescription(number) : std::wstring(description);
  });
  return error;
}

LONG runtimeNumberOf(HRESULT failure) {
  switch (failure) {
    case DISP_E_OVERFLOW:
      return runtime::kOverflow;
    case DISP_E_TYPEMISMATCH:
    case DISP_E_BADVARTYPE:
      return runtime::kTypeMismatch;
    case DISP_E_BADINDEX:
      return runtime::kSubscriptOutOfRange;
    case DISP_E_ARRAYISLOCKED:
      return runtime::kArrayLocked;
    case E_OUTOFMEMORY:
      return runtime::kOutOfMemory;
    case E_INVALIDARG:
    case E_POINTER:
      return runtime::kInvalidCall;
    case DISP_E_MEMBERNOTFOUND:
    case DISP_E_UNKNOWNNAME:
      return runtime::kNoSuchMember;
    default:
      return HRESULT_FACILITY(failure) == FACILITY_CONTROL ? HRESULT_CODE(failure) : failure;
  }
}

void checkPlatform(HRESULT result) {
  if (result == E_OUTOFMEMORY) throw std::bad_alloc();
  if (FAILED(result)) throw makeError(runtimeNumberOf(result));
}

Error fileError() {
  switch (GetLastError()) {
    case ERROR_FILE_NOT_FOUND:  // the drive of a path, to some versions of the platform
    case ERROR_PATH_NOT_FOUND:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
    case ERROR_BAD_PATHNAME:
      return makeError(runtime::kPathNotFound);
    case ERROR_INVALID_NAME:
    case ERROR_FILENAME_EXCED_RANGE:
      return makeError(runtime::kBadFileName);
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
      return makeError(runtime::kDiskFull);
    case ERROR_INVALID_DRIVE:
    case ERROR_NOT_READY:
      return makeError(runtime::kDeviceUnavailable);
    default:
      return makeError(runtime::kPathFileAccess);
  }
}

Error currentError() noexcept {
  try {
    throw;
  } catch (const Error& error) {
    return copyOf(error);
  } catch (const std::bad_alloc&) {
    return makeError(runtime::kOutOfMemory);
  } catch (const std::exception& unexpected) {
    Error error = makeError(E_UNEXPECTED);
    const std::string_view what = unexpected.what();
    asFarAsMemoryGoes([&] { error.description.assign(what.begin(), what.end()); });
    return error;
  } catch (...) {
    return makeError(E_UNEXPECTED);
  }
}

void checkWin32(LSTATUS status) {
  if (status != ERROR_SUCCESS) {
    throw makeError(HRESULT_FROM_WIN32(static_cast<unsigned>(status)));
  }
}

HRESULT toHresult(LONG number) {
  if (number > 0 && number <= 0xFFFF)
    return static_cast<HRESULT>(0x800A0000u | static_cast<ULONG>(number));
  return number < 0 ? number : E_FAIL;
}

LONG addChecked(LONG a, LONG b) {
  LONG sum;
  if (__builtin_add_overflow(a, b, &sum)) throw makeError(runtime::kOverflow);
  return sum;
}

LONG subtractChecked(LONG a, LONG b) {
  LONG difference;
  if (__builtin_sub_overflow(a, b, &difference)) throw makeError(runtime::kOverflow);
  return difference;
}

}  // namespace zsupport
