// A log file of the tests' own, with records as the library writes them.
#pragma once

#include <windows.h>

#include <cstdio>
#include <string>

inline std::wstring temporary(const wchar_t* name) {
  wchar_t folder[MAX_PATH];
  GetTempPathW(MAX_PATH, folder);
  return std::wstring(folder) + name;
}

class Log {
 public:
  explicit Log(const wchar_t* name = L"monitor test.log") : path(temporary(name)) { remove(); }
  ~Log() { remove(); }

  void append(const std::string& bytes) const { append(bytes, path); }
  static void append(const std::string& bytes, const std::wstring& path) {
    FILE* const file = _wfopen(path.c_str(), L"ab");
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
  }
  void roll() const {
    MoveFileExW(path.c_str(), (path + L".old").c_str(), MOVEFILE_REPLACE_EXISTING);
  }

  const std::wstring path;

 private:
  void remove() const {
    for (const wchar_t* const end : {L"", L".old", L".older"}) DeleteFileW((path + end).c_str());
  }
};

// Each at a time of its own.
inline std::string record(const std::string& description, const std::string& number = "5") {
  static int count = 0;
  const int milliseconds = ++count;
  char time[32];
  std::snprintf(time, sizeof time, "2026-01-31 14:%02d:%02d.%03d", milliseconds / 60'000,
                milliseconds / 1000 % 60, milliseconds % 1000);
  return std::string(time) + "\tZSupport 1.0.0\t4000000\t8\tZollection\tSub Add\t" + number +
         "\tSystem\\\\ZSupport.Zollection::Sub Add!Zollection.Add\t" + description +
         "\tin tool.exe\r\n";
}

inline std::wstring logOption(const Log& log) { return L"--log \"" + log.path + L'"'; }
