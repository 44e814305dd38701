// One log file, read from its beginning and then on as it grows, across its renamings: the library
// begins a new file at 1 MB and calls the former one .old, or .older. It is open only while it is
// read, so that nobody is kept from renaming it.
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
  // A line without its end; false to stop. The last one of a file that ends in the middle of one is
  // handed over when nothing can come behind it any more.
  using TakeLine = std::function<bool(std::string_view)>;

  explicit LogFile(std::wstring path) : path_(std::move(path)) {}

  const std::wstring& path() const { return path_; }

  // Everything new. ERROR_SUCCESS, or why it cannot be read to its end: what was not read then
  // comes the next time. A file that is not there is no error.
  DWORD readNew(const TakeLine& take);

 private:
  struct Part {
    Handle file;
    DWORD error = ERROR_SUCCESS;
    ULONGLONG identity = 0, size = 0, written = 0;
    bool isMissing() const;
    bool isSameFile(const Part& other) const { return file && identity == other.identity; }
  };
  static Part open(const std::wstring& path);

  DWORD readOlderParts(const TakeLine& take);
  DWORD readFrom(const Part& part, ULONGLONG& offset, const TakeLine& take);
  bool takeBytes(std::string_view bytes, const TakeLine& take);
  bool endPart(const TakeLine& take);
  bool isFinished(const Part& part) const;

  const std::wstring path_;
  Part current_;           // what is being read; its file is closed
  bool hasBegun_ = false;  // with current_
  ULONGLONG offset_ = 0;   // what of it has been read
  std::string rest_;       // of its last line, whose end has not come yet
  std::vector<Part> finished_;
};

}  // namespace monitor
