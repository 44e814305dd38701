#include "automation/runtime_rules.h"

#include <oleauto.h>

#include <algorithm>
#include <cmath>
#include <cwctype>
#include <limits>

#include "automation/error.h"
#include "automation/number_text.h"
#include "automation/variant.h"

namespace zsupport {
namespace {

bool isDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

std::wstring withoutBlanks(std::wstring_view text) {
  std::wstring kept;
  for (const wchar_t c : text) {
    if (c != L' ' && c != L'\t' && c != L'\n') kept.push_back(c);
  }
  return kept;
}

// &HFF and &O17: 16-bit numbers up to four hexadecimal digits, as the run-time reads them.
double radixNumber(std::wstring_view text) {
  const bool isHexadecimal = std::towupper(text[1]) == L'H';
  constexpr std::wstring_view kDigits = L"0123456789ABCDEF";
  const std::wstring_view digits = kDigits.substr(0, isHexadecimal ? 16 : 8);
  ULONG64 value = 0;
  for (const wchar_t c : text.substr(2)) {
    const size_t digit = digits.find(static_cast<wchar_t>(std::towupper(c)));
    if (digit == std::wstring_view::npos) break;
    value = value * digits.size() + digit;
    if (value > ULONG_MAX) throw makeError(runtime::kOverflow);
  }
  return value > 0x7FFF && value <= 0xFFFF ? static_cast<double>(static_cast<SHORT>(value))
                                           : static_cast<double>(static_cast<LONG>(value));
}

// The platform's reading, which needs no memory; 0 for what is no number.
double decimalNumber(const std::wstring& text) {
  double value = 0;
  const HRESULT result = VarR8FromStr(const_cast<OLECHAR*>(text.c_str()), LOCALE_INVARIANT,
                                      LOCALE_NOUSEROVERRIDE, &value);
  if (result == DISP_E_TYPEMISMATCH) return 0;
  checkPlatform(result);
  return value;
}

}  // namespace

double numericPrefix(std::wstring_view text) {
  const std::wstring blankless = withoutBlanks(text);
  if (blankless.size() > 2 && blankless[0] == L'&' &&
      (std::towupper(blankless[1]) == L'H' || std::towupper(blankless[1]) == L'O')) {
    return radixNumber(blankless);
  }
  size_t end = 0;
  const auto skipDigits = [&](size_t from) {
    while (from < blankless.size() && isDigit(blankless[from])) ++from;
    return from;
  };
  if (end < blankless.size() && (blankless[end] == L'-' || blankless[end] == L'+')) ++end;
  end = skipDigits(end);
  if (end < blankless.size() && blankless[end] == L'.') end = skipDigits(end + 1);
  std::wstring number = blankless.substr(0, end);
  if (end < blankless.size() &&
      std::wstring_view(L"EeDd").find(blankless[end]) != std::wstring_view::npos) {
    size_t exponent = end + 1;
    if (exponent < blankless.size() &&
        (blankless[exponent] == L'-' || blankless[exponent] == L'+')) {
      ++exponent;
    }
    const size_t exponentEnd = skipDigits(exponent);
    if (exponentEnd > exponent) number += L'E' + blankless.substr(end + 1, exponentEnd - end - 1);
  }
  return decimalNumber(number);
}

LONG toWholeNumber(const std::wstring& text) {
  LONG number = 0;
  checkPlatform(VarI4FromStr(const_cast<OLECHAR*>(text.c_str()), LOCALE_USER_DEFAULT, 0, &number));
  return number;
}

LONG toWholeNumber(double number) {
  LONG whole = 0;
  if (!std::isfinite(number)) throw makeError(runtime::kOverflow);
  checkPlatform(VarI4FromR8(number, &whole));
  return whole;
}

Text toValueText(const VARIANT& value) {
  Variant holder;
  const VARIANT& plain = dereferenced(value, holder);
  if (typeOf(plain) == VT_NULL) throw makeError(runtime::kInvalidNull);
  if (typeOf(plain) != VT_ERROR) return toText(plain);
  const SCODE code = V_ERROR(&plain);
  const LONG number = HRESULT_FACILITY(code) == FACILITY_CONTROL ? HRESULT_CODE(code) : code;
  return Text(L"Error " + decimalText(number));
}

double wholeSeconds(DATE date) {
  constexpr double kSecondsADay = 86'400, kPrecision = std::numeric_limits<double>::epsilon();
  UDATE parts;  // of no use but to learn whether it is a date
  if (!std::isfinite(date)) throw makeError(runtime::kInvalidCall);
  checkPlatform(VarUdateFromDate(date, 0, &parts));
  // Before the beginning, too, the fraction is the time of day.
  const double day = std::trunc(date);
  const double seconds = std::abs(date - day) * kSecondsADay;
  // A whole second, put together from hours, minutes and seconds, may come out below itself by the
  // last digits that a date of that size has.
  const double inexact = std::max(1.0, std::abs(date)) * kSecondsADay * 4 * kPrecision;
  return day * kSecondsADay + std::floor(seconds + inexact);
}

std::wstring toNumberText(double number) {
  Text text;
  checkPlatform(VarBstrFromR8(number, LOCALE_USER_DEFAULT, 0, text.inout()));
  return std::wstring(text.view());
}

}  // namespace zsupport
