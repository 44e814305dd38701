// The log file: one line of UTF-8 per record, bounded in size, shared by threads and processes.
#pragma once

#include <string>

namespace zsupport {

// At this size the file is renamed to its name with ".old", which replaces an older one, and a new
// one is begun.
inline constexpr unsigned kLogFileLimit = 1024 * 1024;  // bytes

// Where the log goes when no path is set: TITLE.log in the user's local application data, under
// the company and the product. Empty when the platform knows no such folder.
std::wstring defaultLogPath(const std::wstring& company, const std::wstring& product,
                            const std::wstring& title);

// Appends one record; folders are created as needed. Line breaks in the record become visible
// escapes, so a record is always one line. False when it could not be written.
bool appendToLog(const std::wstring& path, const std::wstring& record) noexcept;

}  // namespace zsupport
