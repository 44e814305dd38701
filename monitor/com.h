// The platform's owners of interfaces, texts and variants, with the names that they have here.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <comdef.h>
#include <string>

namespace monitor {

template <class Interface>
using Ptr = _com_ptr_t<_com_IIID_getter<Interface, &__mingw_uuidof<Interface>>>;

inline std::wstring textOf(const _bstr_t& text) {
  return std::wstring(static_cast<const wchar_t*>(text), text.length());
}
inline _bstr_t bstrOf(const std::wstring& text) {
  return _bstr_t(SysAllocStringLen(text.data(), static_cast<UINT>(text.size())), false);
}

}  // namespace monitor
