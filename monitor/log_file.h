// One log file, read from its beginning and then on as it grows, across its renamings: the library
// begins a new file at 1 MB and calls the former one .old, or .older where .old is in use. A part
// is known by the number that the disk gives it and by how it begins, since numbers are given
// again: what was read under one name goes on under the next, a line that somebody still adds to it
// included. The files are open only while they are read, so that nobody is kept from renaming them.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "handle.h"

namespace monitor {

class LogFile {
 public:
  // A line without its end; false to stop.
  using TakeLine = std::function<bool(std::string_view)>;

  explicit LogFile(std::wstring path) : path_(std::move(path)) {}

  const std::wstring& path() const { return path_; }

  // Everything new; the last line of a part when its end has come, or when the part is no longer
  // the current one or is gone. What keeps it from being read to its end; that comes the next time
  // then. A file that is not there is no problem.
  struct Problem {
    DWORD error = ERROR_SUCCESS;
    std::wstring path;
  };
  Problem readNew(const TakeLine& take);

  // The beginnings of lines whose ends have not come, and when the latest of them came, as
  // GetTickCount64 tells it.
  bool hasRest() const;
  ULONGLONG restSince() const { return restSince_; }
  bool takeRest(const TakeLine& take);

 private:
  struct Part {
    std::wstring path;
    Handle file;
    DWORD error = ERROR_SUCCESS;
    ULONGLONG identity = 0, size = 0, written = 0;
    std::string head;
    bool isCurrent = false;
    bool isMissing() const;
  };
  struct Progress {
    ULONGLONG identity, offset;
    std::string head;
    bool isCurrent;
    std::string rest;  // the beginning of a line
  };

  struct Opened {
    std::vector<Part> parts;
    Problem problem;  // that reading waits for
    bool areAll = true;
  };

  static Part open(const std::wstring& path);
  Opened openAll();
  Progress* find(const Part& part);
  bool know(const Opened& opened, const TakeLine& take);
  static bool takeRests(std::vector<Progress>& parts, const TakeLine& take);
  DWORD readFrom(const Part& part, Progress& progress, const TakeLine& take);
  bool takeBytes(std::string_view bytes, std::string& rest, const TakeLine& take);
  static bool takeRest(std::string& rest, const TakeLine& take);

  const std::wstring path_;
  std::vector<Progress> progress_;
  ULONGLONG restSince_ = 0;
  int tries_ = 0;
};

}  // namespace monitor
