#include "automation/ansi.h"

#include <windows.h>

namespace zsupport {
namespace {

// No nearest characters: a letter that becomes a separator or another name's letter would name
// another file. (UTF-8 as the code page lacks nothing, and takes no flags.)
DWORD conversionFlags() { return GetACP() == CP_UTF8 ? 0 : WC_NO_BEST_FIT_CHARS; }

int codeOf(wchar_t character, DWORD flags) {
  unsigned char bytes[4] = {};
  const int count = WideCharToMultiByte(
      CP_ACP, flags, &character, 1, reinterpret_cast<char*>(bytes), sizeof bytes, nullptr, nullptr);
  return count == 2 ? static_cast<SHORT>(bytes[0] << 8 | bytes[1]) : bytes[0];
}

}  // namespace

std::string toAnsi(std::wstring_view text) {
  const int length = static_cast<int>(text.size());
  const DWORD flags = conversionFlags();
  const int bytes =
      WideCharToMultiByte(CP_ACP, flags, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string ansi(static_cast<size_t>(bytes), '\0');
  WideCharToMultiByte(CP_ACP, flags, text.data(), length, ansi.data(), bytes, nullptr, nullptr);
  return ansi;
}

std::wstring fromAnsi(std::string_view text) {
  const int bytes = static_cast<int>(text.size());
  const int length = MultiByteToWideChar(CP_ACP, 0, text.data(), bytes, nullptr, 0);
  std::wstring wide(static_cast<size_t>(length), L'\0');
  MultiByteToWideChar(CP_ACP, 0, text.data(), bytes, wide.data(), length);
  return wide;
}

int ansiCode(wchar_t character) { return codeOf(character, conversionFlags()); }

int nearestAnsiCode(wchar_t character) { return codeOf(character, 0); }

}  // namespace zsupport
