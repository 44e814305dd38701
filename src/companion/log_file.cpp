#include "companion/log_file.h"

#include <windows.h>

#include <atomic>
#include <shlobj.h>

#include "automation/module.h"
#include "automation/system_library.h"

namespace zsupport {
namespace {

constexpr DWORD kPatience = 2000;  // milliseconds to wait for other writers

constinit SystemLibrary shell(L"shell32.dll");
// A lock that was waited for in vain is not waited for again until it has been free.
constinit std::atomic<bool> isLockStuck{false};
constinit std::atomic<bool> hasToldOfGrowth{false};

// A log file that is open for appending: Windows puts each write at the end, whole.
class OpenLog {
 public:
  explicit OpenLog(const std::wstring& path)
      : file_(CreateFileW(path.c_str(), FILE_APPEND_DATA | FILE_READ_DATA | SYNCHRONIZE,
                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                          OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)) {}
  OpenLog(const OpenLog&) = delete;
  OpenLog& operator=(const OpenLog&) = delete;
  ~OpenLog() {
    if (isLocked_) UnlockFile(file_, kLockedByte, 0, 1, 0);
    if (isOpen()) CloseHandle(file_);
  }

  bool isOpen() const { return file_ != INVALID_HANDLE_VALUE; }

  // Held to the end of this object; a writer that dies gives it back. False when it cannot be had.
  bool lock() {
    const DWORD start = GetTickCount();
    for (;;) {
      OVERLAPPED place{};
      place.Offset = kLockedByte;
      isLocked_ =
          LockFileEx(file_, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place);
      const bool isHeld = !isLocked_ && GetLastError() == ERROR_LOCK_VIOLATION;
      if (!isHeld || isLockStuck || GetTickCount() - start > kPatience) {
        isLockStuck = !isLocked_;
        return isLocked_;
      }
      Sleep(1);
    }
  }

  bool hasRoomFor(size_t bytes) const {
    const DWORD size = GetFileSize(file_, nullptr);
    return size == 0 || size == INVALID_FILE_SIZE || size + bytes <= kLogFileLimit;
  }

  // False when it has been renamed meanwhile, and another file has its name.
  bool isSameAs(const OpenLog& other) const {
    BY_HANDLE_FILE_INFORMATION mine, others;
    return !GetFileInformationByHandle(file_, &mine) ||
           !GetFileInformationByHandle(other.file_, &others) ||
           (mine.dwVolumeSerialNumber == others.dwVolumeSerialNumber &&
            mine.nFileIndexHigh == others.nFileIndexHigh &&
            mine.nFileIndexLow == others.nFileIndexLow);
  }

  bool append(const std::string& line) const {
    DWORD written = 0;
    return WriteFile(file_, line.data(), static_cast<DWORD>(line.size()), &written, nullptr) &&
           written == line.size();
  }

 private:
  static constexpr DWORD kLockedByte = 0x7FFFFFFF;

  const HANDLE file_;
  bool isLocked_ = false;
};

void createFolderOf(const std::wstring& path) {
  const size_t end = path.find_last_of(L"\\/");
  if (end == std::wstring::npos) return;
  shell.get<decltype(SHCreateDirectoryExW)>("SHCreateDirectoryExW")(
      nullptr, path.substr(0, end).c_str(), nullptr);
}

std::string lineOf(const std::wstring& record) {
  const int length = static_cast<int>(record.size());
  std::string line(record.size() * 3 + 2, '\0');
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, record.data(), length, line.data(),
                                        static_cast<int>(line.size()), nullptr, nullptr);
  line.resize(static_cast<size_t>(bytes));
  return line += "\r\n";
}

// By whoever holds the full file's lock.
bool rename(const std::wstring& path) {
  for (const wchar_t* const ending : {L".old", L".older"}) {
    if (MoveFileExW(path.c_str(), (path + ending).c_str(), MOVEFILE_REPLACE_EXISTING)) return true;
  }
  return false;
}

// The record goes into this file; else a new one has been begun, by us or another writer.
enum class Outcome { kWritten, kFailed, kNewFile };

Outcome appendTo(OpenLog& log, const std::wstring& path, const std::string& line) {
  // Without the lock nothing is renamed; a line is appended whole all the same.
  if (log.lock() && !log.hasRoomFor(line.size())) {
    if (!log.isSameAs(OpenLog(path)) || rename(path)) return Outcome::kNewFile;
    if (!hasToldOfGrowth.exchange(true)) {
      log.append("The log could not be renamed, as its older parts are in use: it grows on.\r\n");
    }
  }
  return log.append(line) ? Outcome::kWritten : Outcome::kFailed;
}

}  // namespace

std::wstring defaultLogPath(const std::wstring& title) {
  wchar_t folder[MAX_PATH];
  const auto getFolder = shell.find<decltype(SHGetFolderPathW)>("SHGetFolderPathW");
  if (!getFolder ||
      FAILED(getFolder(nullptr, CSIDL_LOCAL_APPDATA | CSIDL_FLAG_CREATE, nullptr, 0, folder))) {
    return {};
  }
  return std::wstring(folder) + L"\\" + versionText(L"CompanyName") + L"\\" +
         versionText(L"ProductName") + L"\\" + title + L".log";
}

bool appendToLog(const std::wstring& path, const std::wstring& record) noexcept {
  constexpr int kAttempts = 5;  // others may fill new files meanwhile
  try {
    const std::string line = lineOf(record);
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      OpenLog log(path);
      if (log.isOpen()) {
        const Outcome outcome = appendTo(log, path, line);
        if (outcome != Outcome::kNewFile) return outcome == Outcome::kWritten;
      } else if (attempt == 0) {
        createFolderOf(path);
      } else {
        return false;
      }
    }
    return false;
  } catch (...) {
    return false;
  }
}

}  // namespace zsupport
