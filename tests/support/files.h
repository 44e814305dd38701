// Files and processes of the tests' own.
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

// This program, started once more.
inline HANDLE startSelf(const std::wstring& arguments) {
  wchar_t self[MAX_PATH];
  GetModuleFileNameW(nullptr, self, MAX_PATH);
  std::wstring command = L"\"" + std::wstring(self) + L"\" " + arguments;
  STARTUPINFOW start{};
  start.cb = sizeof start;
  PROCESS_INFORMATION process{};
  CreateProcessW(self, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start,
                 &process);
  CloseHandle(process.hThread);
  return process.hProcess;
}
