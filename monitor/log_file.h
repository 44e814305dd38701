// One log file, read from its beginning and then on as it grows, across its renamings: the library
// begins a new file at 1 MB and calls the former one .old, or .older. It is open only while it is
// read, so that nobody is kept from renaming it.
#pragma once

#include <windows.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "handle.h"

namespace monitor {

class LogFile {
 public:
  // A line without its end. The last one of a file that ends in the middle of one is handed over
  // when nothing can come behind it any more.
  using TakeLine = std::function<void(std::string_view)>;

  explicit LogFile(std::wstring path) : path_(std::move(path)) {}

  const std::wstring& path() const { return path_; }

  // Everything new. ERROR_SUCCESS, or why the file cannot be read; one that is not there is no
  // error.
  DWORD readNew(const TakeLine& take);

 private:
  struct Part {
    Handle file;
    DWORD error = ERROR_SUCCESS;
    ULONGLONG identity = 0;
    FILETIME written{};
    ULONGLONG size = 0;
  };
  static Part open(const std::wstring& path);

  void readOlderParts(const TakeLine& take);
  void finishRenamed(const TakeLine& take);
  DWORD readFrom(const Part& part, ULONGLONG offset, const TakeLine& take);
  void takeBytes(std::string_view bytes, const TakeLine& take);
  void endPart(const TakeLine& take);

  const std::wstring path_;
  bool hasBegun_ = false;
  std::optional<ULONGLONG> current_;  // identity of the part that is being read
  ULONGLONG offset_ = 0;              // what of it has been read
  std::string rest_;                  // of its last line, whose end has not come yet
};

}  // namespace monitor
