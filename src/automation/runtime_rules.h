// Rules of the run-time that the platform has no call for.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace zsupport {

// The number that a text begins with, blanks skipped: sign, digits, fraction, exponent (E or D), or
// a hexadecimal or octal number behind &H or &O. 0 when it begins with none;
// error 6 when it is too large.
double numericPrefix(std::wstring_view text);

// A whole number from text by the user's locale: error 13 when it is none, 6 when it is too large.
LONG toWholeNumber(const std::wstring& text);

// A number as text by the user's locale.
std::wstring toNumberText(double number);

}  // namespace zsupport
