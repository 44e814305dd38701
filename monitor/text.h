// Small things about text that both views need.
#pragma once

#include <windows.h>

#include <array>
#include <string>
#include <string_view>

namespace monitor {

// What is not UTF-8 is replaced, and *isSound is false.
std::wstring fromUtf8(std::string_view bytes, bool* isSound = nullptr);
std::string toUtf8(std::wstring_view text);

// For comparing and searching: letter case does not count.
extern const std::array<wchar_t, 0x10000>& foldTable;
inline wchar_t folded(wchar_t c) { return foldTable[c]; }
std::wstring folded(std::wstring_view text);
int compareFolded(std::wstring_view first, std::wstring_view second);

// Local, as records have it: 2026-01-31 14:05:09.250
std::wstring timeText(const SYSTEMTIME& time);
std::wstring now(int shift = 0);  // seconds

// A number with its thousands parted.
std::wstring countText(size_t count);

std::wstring formatGuid(REFGUID id);

// On one line, for a cell or for the console.
std::wstring onOneLine(std::wstring_view text);

std::wstring fileNameOf(std::wstring_view path);

}  // namespace monitor
