// Where the library's log files are.
#pragma once

#include <string>
#include <vector>

namespace monitor {

struct LogPath {
  std::wstring path;
  bool isOfOthers = false;  // of interest only when it can be read
  bool operator==(const LogPath&) const = default;
};

// The files that the library may write on this machine as far as they can be known: the default
// one, the one of the LogFile setting, which falls back on the default one, and those of other
// users and of services. No file is opened for that.
std::vector<LogPath> libraryLogs();

// Those that are of interest, each once, however it is spelt. They are opened for that, which takes
// its time where a share is away.
std::vector<std::wstring> distinctLogs(const std::vector<LogPath>& paths);

bool canBeRead(const std::wstring& path);

// With its drive, whatever folder is current.
std::wstring fullPath(const std::wstring& path);

// Without a backslash at its end, but for the root of a drive.
std::wstring folderOf(const std::wstring& path);

}  // namespace monitor
