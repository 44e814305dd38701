#include "failure.h"

#include <oleauto.h>

#include <exception>
#include <new>

#include "com.h"

namespace monitor {
namespace {

std::wstring hexadecimal(DWORD number) {
  wchar_t text[16];
  wsprintfW(text, L"0x%08lX", number);
  return text;
}

}  // namespace

std::wstring systemText(DWORD error) {
  wchar_t text[512];
  DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                error, 0, text, ARRAYSIZE(text), nullptr);
  while (length > 0 && (text[length - 1] <= L' ' || text[length - 1] == L'.')) --length;
  return length ? std::wstring(text, length) : L"error " + hexadecimal(error);
}

std::wstring automationText(HRESULT result) {
  IErrorInfo* told = nullptr;
  if (GetErrorInfo(0, &told) == S_OK) {
    const Ptr<IErrorInfo> information(told, false);
    _bstr_t description;
    if (SUCCEEDED(information->GetDescription(description.GetAddress())) && description.length()) {
      return textOf(description) + L" (" + hexadecimal(static_cast<DWORD>(result)) + L")";
    }
  }
  return systemText(static_cast<DWORD>(result));
}

void require(HRESULT result, const std::wstring& what) {
  if (FAILED(result)) throw Failure{what + L": " + automationText(result)};
}

std::wstring failureText() {
  try {
    throw;
  } catch (const Failure& failure) {
    return failure.text;
  } catch (const _com_error& error) {
    return systemText(static_cast<DWORD>(error.Error()));
  } catch (const std::bad_alloc&) {
    return L"There is not enough memory for it";
  } catch (const std::exception&) {
    return L"It failed for a reason that is not known";
  }
}

}  // namespace monitor
