// The log file: one line of UTF-8 per record, bounded in size, shared by threads and processes.
//
// Writers take turns by a lock on a byte of the file itself, far behind its end: it belongs to the
// file, however its path is spelled, has no name that somebody else could take, and can be held
// only by those who may read the file. Whoever holds it all the same makes a process wait once.
#pragma once

#include <string>

namespace zsupport {

// At this size the file is renamed to its name with ".old", which replaces an older one, and a new
// one is begun. Where somebody keeps the older one from being replaced, ".older" serves instead,
// and when that fails, too, the file grows on and says so.
inline constexpr unsigned kLogFileLimit = 1024 * 1024;  // bytes

// TITLE.log in the user's local application data, under the company and the product: where the log
// goes when no path is set. Empty when the platform knows no such folder.
std::wstring defaultLogPath(const std::wstring& title);

// Appends one record, which is one line already; folders are created as needed. False when it could
// not be written.
bool appendToLog(const std::wstring& path, const std::wstring& record) noexcept;

}  // namespace zsupport
