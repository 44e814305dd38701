#include "text.h"

#include <algorithm>
#include <array>
#include <objbase.h>

namespace monitor {
namespace {

using FoldTable = std::array<wchar_t, 0x10000>;

const FoldTable& madeFoldTable() {
  static FoldTable table;
  for (size_t c = 0; c < table.size(); ++c) table[c] = static_cast<wchar_t>(c);
  CharUpperBuffW(table.data(), static_cast<DWORD>(table.size()));
  return table;
}

}  // namespace

const FoldTable& foldTable = madeFoldTable();

std::wstring fromUtf8(std::string_view bytes, bool* isSound) {
  const int size = static_cast<int>(bytes.size());
  std::wstring text(bytes.size(), L'\0');  // never more units than bytes
  int length = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), size, text.data(),
                                   static_cast<int>(text.size()));
  if (isSound) *isSound = length > 0 || bytes.empty();
  if (length == 0) {
    length = MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, text.data(),
                                 static_cast<int>(text.size()));
  }
  text.resize(static_cast<size_t>(length));
  return text;
}

std::string toUtf8(std::wstring_view text) {
  std::string bytes(text.size() * 3, '\0');
  const int size =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                          static_cast<int>(bytes.size()), nullptr, nullptr);
  bytes.resize(static_cast<size_t>(size));
  return bytes;
}

std::wstring folded(std::wstring_view text) {
  std::wstring result(text);
  for (wchar_t& c : result) c = folded(c);
  return result;
}

int compareFolded(std::wstring_view first, std::wstring_view second) {
  const size_t shorter = std::min(first.size(), second.size());
  for (size_t i = 0; i < shorter; ++i) {
    const int difference = folded(first[i]) - folded(second[i]);
    if (difference) return difference;
  }
  return first.size() < second.size() ? -1 : first.size() > second.size();
}

std::wstring timeText(const SYSTEMTIME& time) {
  wchar_t text[32];
  wsprintfW(text, L"%04u-%02u-%02u %02u:%02u:%02u.%03u", time.wYear, time.wMonth, time.wDay,
            time.wHour, time.wMinute, time.wSecond, time.wMilliseconds);
  return text;
}

std::wstring now(int shift) {
  SYSTEMTIME time;
  GetLocalTime(&time);
  FILETIME ticks;
  SystemTimeToFileTime(&time, &ticks);
  ULARGE_INTEGER shifted{{ticks.dwLowDateTime, ticks.dwHighDateTime}};
  shifted.QuadPart += static_cast<ULONGLONG>(shift * 10'000'000LL);
  ticks = {shifted.LowPart, shifted.HighPart};
  FileTimeToSystemTime(&ticks, &time);
  return timeText(time);
}

std::wstring countText(size_t count) {
  std::wstring text = std::to_wstring(count);
  for (size_t place = text.size(); place > 3; place -= 3) text.insert(place - 3, 1, L',');
  return text;
}

std::wstring formatGuid(REFGUID id) {
  wchar_t text[40];
  StringFromGUID2(id, text, ARRAYSIZE(text));
  return text;
}

std::wstring onOneLine(std::wstring_view text) {
  std::wstring result(text);
  for (wchar_t& c : result) {
    if (c < L' ' || c == 0x7F || c == 0x2028 || c == 0x2029) c = L' ';
  }
  return result;
}

std::wstring fileNameOf(std::wstring_view path) {
  return std::wstring(path.substr(path.find_last_of(L"\\/") + 1));
}

}  // namespace monitor
