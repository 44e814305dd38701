// Whole numbers as text.
#pragma once

#include <windows.h>

#include <string>

namespace zsupport {

// As the platform's format says. The standard library's to_wstring prints through a family of
// functions that is larger than most of what is here.
inline std::wstring formatted(const wchar_t* format, ULONG number) {
  wchar_t text[16];
  wsprintfW(text, format, number);
  return text;
}

inline std::wstring decimalText(LONG number) {
  return formatted(L"%d", static_cast<ULONG>(number));
}

}  // namespace zsupport
