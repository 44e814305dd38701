#include "automation/ansi.h"

#include <windows.h>

namespace zsupport {

std::string toAnsi(std::wstring_view text) {
  const int length = static_cast<int>(text.size());
  const int bytes =
      WideCharToMultiByte(CP_ACP, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string ansi(static_cast<size_t>(bytes), '\0');
  WideCharToMultiByte(CP_ACP, 0, text.data(), length, ansi.data(), bytes, nullptr, nullptr);
  return ansi;
}

std::wstring fromAnsi(std::string_view text) {
  const int bytes = static_cast<int>(text.size());
  const int length = MultiByteToWideChar(CP_ACP, 0, text.data(), bytes, nullptr, 0);
  std::wstring wide(static_cast<size_t>(length), L'\0');
  MultiByteToWideChar(CP_ACP, 0, text.data(), bytes, wide.data(), length);
  return wide;
}

int ansiCode(wchar_t character) {
  const std::string bytes = toAnsi({&character, 1});
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(bytes[i]); };
  if (bytes.size() == 2) return static_cast<SHORT>(byte(0) << 8 | byte(1));
  return bytes.empty() ? 0 : byte(0);
}

}  // namespace zsupport
