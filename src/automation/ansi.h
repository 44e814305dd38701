// Between the library's text and the system's code page, in which the ANSI functions of the
// platform are called. The one pair of conversions.
#pragma once

#include <string>
#include <string_view>

namespace zsupport {

// What the code page lacks becomes a question mark.
std::string toAnsi(std::wstring_view text);
std::wstring fromAnsi(std::string_view text);

// The code of a character, as the run-time gives it: two bytes make a signed 16-bit number.
int ansiCode(wchar_t character);
// For marks that are read, not files that are named: the code of the nearest character that the
// code page has (\u00df for the Greek \u03b2).
int nearestAnsiCode(wchar_t character);

}  // namespace zsupport
