// Where the library's log files are.
#pragma once

#include <string>
#include <vector>

namespace monitor {

// The files that the library writes on this machine as far as they can be known: the default one,
// the one of the LogFile setting, which falls back on the default one, and those of other users and
// of services that can be read. Each once.
std::vector<std::wstring> libraryLogs();

bool canBeRead(const std::wstring& path);

// With its drive, whatever folder is current.
std::wstring fullPath(const std::wstring& path);

// Without a backslash at its end, but for the root of a drive.
std::wstring folderOf(const std::wstring& path);

}  // namespace monitor
