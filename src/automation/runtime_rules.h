// Rules of the run-time that the platform has no call for.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <string>
#include <string_view>

#include "automation/text.h"

namespace zsupport {

// The number that a text begins with, blanks skipped: sign, digits, fraction, exponent (E or D), or
// a hexadecimal or octal number behind &H or &O. 0 when it begins with none;
// error 6 when it is too large.
double numericPrefix(std::wstring_view text);

// A whole number from text by the user's locale: error 13 when it is none, 6 when it is too large.
LONG toWholeNumber(const std::wstring& text);

// The nearest whole number, halves to the even one: error 6 when it is too large.
LONG toWholeNumber(double number);

// A value as text: of an error value "Error" and its number; error 94 for Null, 13 for what has no
// text.
Text toValueText(const VARIANT& value);

// Whole seconds since the beginning of the calendar, a fraction dropped. Error 5 for what is no
// date.
double wholeSeconds(DATE date);

// A number as text by the user's locale.
std::wstring toNumberText(double number);

}  // namespace zsupport
