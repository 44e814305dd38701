// Files of the tests' own.
#pragma once

#include <windows.h>

#include <cstdio>
#include <string>

inline std::string contentOf(const std::wstring& path) {
  std::string content;
  if (FILE* const file = _wfopen(path.c_str(), L"rb")) {
    char buffer[4096];
    for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, file)) > 0;) content.append(buffer, n);
    std::fclose(file);
  }
  return content;
}
