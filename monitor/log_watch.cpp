#include "log_watch.h"

#include <windows.h>

#include <algorithm>
#include <shlobj.h>

#include "debug_settings.h"
#include "failure.h"
#include "log_file.h"
#include "text.h"
#include "trace_record.h"

namespace monitor {
namespace {

constexpr size_t kMostFiles = MAXIMUM_WAIT_OBJECTS - 1;
constexpr size_t kBatch = 4096;     // rows that are handed over at a time
constexpr DWORD kRetryAfter = 500;  // milliseconds, while a file is locked
constexpr wchar_t kLogBelowData[] = L"\\Zarnow Instruments Ltd\\System\\ZSupport\\ZSupport.log";

bool isFolder(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

std::wstring folderOf(const std::wstring& path) {
  const size_t end = path.find_last_of(L"\\/");
  if (end == path.npos) return {};
  return end > 0 && path[end - 1] == L':' ? path.substr(0, end + 1) : path.substr(0, end);
}

// The notification of changes in a file's folder, or above it while that is not there.
class FolderWatch {
 public:
  explicit FolderWatch(const std::wstring& file) : wanted_(folderOf(file)) { renew(); }
  FolderWatch(FolderWatch&& other) noexcept
      : wanted_(std::move(other.wanted_)),
        watched_(std::move(other.watched_)),
        change_(std::exchange(other.change_, INVALID_HANDLE_VALUE)) {}
  ~FolderWatch() { close(); }

  bool isWatching() const { return change_ != INVALID_HANDLE_VALUE; }
  HANDLE change() const { return change_; }

  // After each change: the folder may have come or gone.
  void renew() {
    if (isWatching() && watched_ == deepest() && FindNextChangeNotification(change_)) return;
    do {
      close();
      watched_ = deepest();
      if (watched_.empty()) return;
      change_ =
          FindFirstChangeNotificationW(watched_.c_str(), FALSE,
                                       FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME |
                                           FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_LAST_WRITE);
    } while (isWatching() && watched_ != deepest());
  }

 private:
  std::wstring deepest() const {
    std::wstring folder = wanted_;
    while (!folder.empty() && !isFolder(folder)) {
      const std::wstring above = folderOf(folder);
      if (above.size() >= folder.size()) return {};
      folder = above;
    }
    return folder;
  }

  void close() {
    if (isWatching()) FindCloseChangeNotification(change_);
    change_ = INVALID_HANDLE_VALUE;
  }

  const std::wstring wanted_;
  std::wstring watched_;
  HANDLE change_ = INVALID_HANDLE_VALUE;
};

struct Followed {
  explicit Followed(const std::wstring& path) : file(path), folder(path) {}
  LogFile file;
  FolderWatch folder;
  DWORD error = ERROR_SUCCESS;
};

void read(Followed& followed, Feed& feed) {
  std::vector<Row> rows;
  Programs programs;
  const DWORD error = followed.file.readNew([&](std::string_view bytes) {
    bool isSound;
    const std::wstring line = fromUtf8(bytes, &isSound);
    rows.push_back(rowOfLine(line, isSound, followed.file.path(), programs));
    if (rows.size() >= kBatch) feed.add(std::exchange(rows, {}));
  });
  feed.add(std::move(rows));
  if (error != followed.error) {
    feed.say(error ? followed.file.path() + L" cannot be read: " + systemText(error)
                   : followed.file.path() + L" can be read again");
    followed.error = error;
  }
}

void follow(const std::vector<std::wstring>& paths, Feed& feed, HANDLE stop, HANDLE hasReadFirst) {
  std::vector<Followed> files;
  files.reserve(paths.size());
  for (const std::wstring& path : paths) files.emplace_back(path);
  for (;;) {
    for (Followed& each : files) read(each, feed);
    SetEvent(hasReadFirst);
    std::vector<HANDLE> handles = {stop};
    for (const Followed& each : files) {
      if (each.folder.isWatching()) handles.push_back(each.folder.change());
    }
    const bool isLocked =
        std::any_of(files.begin(), files.end(), [](const Followed& each) { return each.error; });
    const DWORD count = static_cast<DWORD>(handles.size());
    const DWORD signalled =
        WaitForMultipleObjects(count, handles.data(), FALSE, isLocked ? kRetryAfter : INFINITE);
    if (signalled == WAIT_OBJECT_0 || signalled == WAIT_FAILED) return;
    for (Followed& each : files) {
      const bool hasChanged =
          each.folder.isWatching() && WaitForSingleObject(each.folder.change(), 0) == WAIT_OBJECT_0;
      if (hasChanged) each.folder.renew();
    }
  }
}

std::wstring knownFolder(int id) {
  wchar_t path[MAX_PATH];
  return SUCCEEDED(SHGetFolderPathW(nullptr, id, nullptr, 0, path)) ? path : std::wstring();
}

bool hasRoot(const std::wstring& path) {
  return path.find_first_of(L"\\/") == 0 || path.find(L':') == 1;
}

// Beside this user's profile; what cannot be opened does not count.
void addLogsOfOthers(const std::wstring& ownData, std::vector<std::wstring>& paths) {
  const std::wstring profile = knownFolder(CSIDL_PROFILE);
  if (profile.empty() || !ownData.starts_with(profile)) return;
  const std::wstring profiles = folderOf(profile), below = ownData.substr(profile.size());
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileW((profiles + L"\\*").c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return;
  do {
    const std::wstring path = profiles + L'\\' + found.cFileName + below + kLogBelowData;
    const bool isKnown = std::find(paths.begin(), paths.end(), path) != paths.end();
    if (!isKnown && GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES) {
      paths.push_back(path);
    }
  } while (FindNextFileW(search, &found));
  FindClose(search);
}

std::vector<std::wstring> firstOnes(std::vector<std::wstring> paths) {
  if (paths.size() > kMostFiles) paths.resize(kMostFiles);
  return paths;
}

}  // namespace

LogWatch::LogWatch(std::vector<std::wstring> paths, Feed& feed)
    : hasReadFirst_(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      thread_([paths = firstOnes(std::move(paths)), &feed,
               first = hasReadFirst_.get()](HANDLE stop) { follow(paths, feed, stop, first); }) {}

std::vector<std::wstring> libraryLogs() {
  std::vector<std::wstring> paths;
  const std::wstring data = knownFolder(CSIDL_LOCAL_APPDATA);
  if (!data.empty()) paths.push_back(data + kLogBelowData);
  const std::wstring setting = DebugSettings().text(kLogFileSetting).value;
  if (!setting.empty()) {
    paths.push_back(hasRoot(setting) || data.empty()
                        ? setting
                        : folderOf(data + kLogBelowData) + L'\\' + setting);
  }
  addLogsOfOthers(data, paths);
  return paths;
}

}  // namespace monitor
