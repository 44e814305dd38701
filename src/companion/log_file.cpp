#include "companion/log_file.h"

#include <windows.h>

#include <cwctype>
#include <functional>
#include <shlobj.h>

namespace zsupport {
namespace {

constexpr DWORD kPatience = 2000;  // milliseconds to wait for other writers

class Handle {
 public:
  explicit Handle(HANDLE handle) : handle_(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() {
    if (handle_) CloseHandle(handle_);
  }
  explicit operator bool() const { return handle_ != nullptr; }
  HANDLE get() const { return handle_; }

 private:
  const HANDLE handle_;
};

// Held while a file is looked at, renamed and written: one per path, for all processes of all
// users. A writer that dies leaves it abandoned, which is as good as free.
class WriterLock {
 public:
  explicit WriterLock(const std::wstring& path) : mutex_(open(name(path))) {
    const DWORD wait = mutex_ ? WaitForSingleObject(mutex_.get(), kPatience) : WAIT_FAILED;
    isHeld_ = wait == WAIT_OBJECT_0 || wait == WAIT_ABANDONED;
  }
  WriterLock(const WriterLock&) = delete;
  WriterLock& operator=(const WriterLock&) = delete;
  ~WriterLock() {
    if (isHeld_) ReleaseMutex(mutex_.get());
  }
  explicit operator bool() const { return isHeld_; }

 private:
  static HANDLE open(const std::wstring& name) {
    SECURITY_DESCRIPTOR everybody;
    InitializeSecurityDescriptor(&everybody, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&everybody, TRUE, nullptr, FALSE);
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, &everybody, FALSE};
    const HANDLE created = CreateMutexW(&attributes, FALSE, name.c_str());
    return created ? created : OpenMutexW(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE, name.c_str());
  }

  // Names of mutexes may not contain backslashes, nor be as long as paths.
  static std::wstring name(std::wstring path) {
    for (wchar_t& c : path) c = static_cast<wchar_t>(std::towlower(c));
    return L"Global\\ZSupport.Log." + std::to_wstring(std::hash<std::wstring>()(path));
  }

  const Handle mutex_;
  bool isHeld_ = false;
};

std::wstring fullPath(const std::wstring& path) {
  wchar_t buffer[MAX_PATH];
  const DWORD length = GetFullPathNameW(path.c_str(), MAX_PATH, buffer, nullptr);
  return length > 0 && length < MAX_PATH ? std::wstring(buffer, length) : path;
}

void createFolderOf(const std::wstring& path) {
  const size_t end = path.find_last_of(L'\\');
  if (end != std::wstring::npos)
    SHCreateDirectoryExW(nullptr, path.substr(0, end).c_str(), nullptr);
}

std::string lineOf(const std::wstring& record) {
  std::wstring oneLine;
  for (const wchar_t c : record) {
    if (c == L'\r')
      oneLine += L"\\r";
    else if (c == L'\n')
      oneLine += L"\\n";
    else if (c == L'\0')
      oneLine += L"\\0";
    else
      oneLine += c;
  }
  oneLine += L"\r\n";
  const int length = static_cast<int>(oneLine.size());
  std::string line(static_cast<size_t>(WideCharToMultiByte(CP_UTF8, 0, oneLine.data(), length,
                                                           nullptr, 0, nullptr, nullptr)),
                   '\0');
  WideCharToMultiByte(CP_UTF8, 0, oneLine.data(), length, line.data(),
                      static_cast<int>(line.size()), nullptr, nullptr);
  return line;
}

bool isFull(const std::wstring& path, size_t additional) {
  WIN32_FILE_ATTRIBUTE_DATA attributes;
  return GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &attributes) &&
         attributes.nFileSizeLow + additional > kLogFileLimit && attributes.nFileSizeLow > 0;
}

}  // namespace

std::wstring defaultLogPath(const std::wstring& company, const std::wstring& product,
                            const std::wstring& title) {
  wchar_t folder[MAX_PATH];
  if (FAILED(
          SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA | CSIDL_FLAG_CREATE, nullptr, 0, folder))) {
    return {};
  }
  return std::wstring(folder) + L"\\" + company + L"\\" + product + L"\\" + title + L".log";
}

bool appendToLog(const std::wstring& path, const std::wstring& record) noexcept {
  try {
    const std::wstring file = fullPath(path);
    const std::string line = lineOf(record);
    const WriterLock lock(file);
    if (file.empty()) return false;
    createFolderOf(file);
    // Without the lock nothing is renamed; Windows appends a line whole all the same.
    if (lock && isFull(file, line.size())) {
      MoveFileExW(file.c_str(), (file + L".old").c_str(), MOVEFILE_REPLACE_EXISTING);
    }
    const Handle log(CreateFileW(file.c_str(), FILE_APPEND_DATA,
                                 FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                 OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    return log &&
           WriteFile(log.get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr) &&
           written == line.size();
  } catch (...) {
    return false;
  }
}

}  // namespace zsupport
