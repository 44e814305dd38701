// Whole numbers as text.
#pragma once

#include <windows.h>

#include <string>

namespace zsupport {

// In decimal. The standard library's to_wstring prints through a family of functions that is larger
// than most of what is here.
inline std::wstring decimalText(LONG number) {
  wchar_t text[12];
  wsprintfW(text, L"%d", number);
  return text;
}

}  // namespace zsupport
