#include "log_watch.h"

#include <windows.h>

#include <algorithm>
#include <utility>

#include "failure.h"
#include "log_file.h"
#include "text.h"
#include "trace_record.h"

namespace monitor {
namespace {

constexpr size_t kMostFiles = MAXIMUM_WAIT_OBJECTS - 1;
constexpr size_t kBatch = 4096;     // rows that are handed over at a time
constexpr DWORD kRetryAfter = 500;  // milliseconds, while a file is locked
constexpr DWORD kTornAfter = 3000;  // milliseconds: lines are written whole

bool isFolder(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
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
    if (isWatching() && FindNextChangeNotification(change_) && watched_ == deepest()) return;
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
      if (above.size() >= folder.size() || above == L"\\") return {};  // no share, no drive
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
  explicit Followed(const std::wstring& path)
      : file(path), origin(std::make_shared<const std::wstring>(path)), folder(path) {}
  LogFile file;
  Origin origin;
  FolderWatch folder;
  DWORD error = ERROR_SUCCESS;

  // Nobody will tell when that changes.
  bool needsRetry() const { return error || !folder.isWatching(); }
  // How long the beginning of a line has waited for its end, up to kTornAfter; in milliseconds.
  DWORD restAge() const {
    if (!file.hasRest()) return 0;
    return static_cast<DWORD>(std::min<ULONGLONG>(GetTickCount64() - file.restSince(), kTornAfter));
  }
};

// Hands rows over to the feed, a batch at a time.
class Reading {
 public:
  Reading(Followed& followed, Feed& feed, HANDLE stop)
      : followed_(followed), feed_(feed), stop_(stop) {}
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;
  ~Reading() { feed_.add(std::move(rows_)); }

  void readNew() {
    const LogFile::Problem problem =
        followed_.file.readNew([this](std::string_view bytes) { return take(bytes); });
    if (problem.error != followed_.error && problem.error != ERROR_CANCELLED) {
      feed_.say(problem.error ? problem.path + L" cannot be read: " + systemText(problem.error)
                              : followed_.file.path() + L" can be read again");
    }
    followed_.error = problem.error;
  }
  void takeRest() {
    followed_.file.takeRest([this](std::string_view bytes) { return take(bytes); });
  }

 private:
  bool take(std::string_view bytes) {
    bool isSound;
    const std::wstring line = fromUtf8(bytes, &isSound);
    rows_.push_back(rowOfLine(line, isSound, followed_.origin, programs_));
    if (rows_.size() < kBatch) return true;
    feed_.add(std::exchange(rows_, {}));
    return WaitForSingleObject(stop_, 0) != WAIT_OBJECT_0;
  }

  Followed& followed_;
  Feed& feed_;
  const HANDLE stop_;
  std::vector<Row> rows_;
  Programs programs_;
};

// Waits for something to happen, for retries, and for lines that should be whole by now. False to
// stop.
bool waitForNews(const std::vector<Followed>& files, HANDLE stop) {
  std::vector<HANDLE> handles = {stop};
  DWORD patience = INFINITE;
  for (const Followed& each : files) {
    if (each.folder.isWatching()) handles.push_back(each.folder.change());
    if (each.file.hasRest()) patience = std::min(patience, kTornAfter - each.restAge());
    if (each.needsRetry()) patience = std::min(patience, kRetryAfter);
  }
  const DWORD signalled =
      WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE, patience);
  if (signalled == WAIT_FAILED) Sleep(kRetryAfter);  // a handle has gone: it is renewed
  return signalled != WAIT_OBJECT_0;
}

void follow(const std::vector<LogPath>& paths, Feed& feed, HANDLE stop, HANDLE hasReadFirst) {
  std::vector<Followed> files;
  for (const std::wstring& path : distinctLogs(paths)) {
    if (files.size() < kMostFiles) files.emplace_back(path);
  }
  for (Followed& each : files) Reading(each, feed, stop).readNew();
  SetEvent(hasReadFirst);
  while (waitForNews(files, stop)) {
    for (Followed& each : files) {
      const bool hasChanged =
          !each.folder.isWatching() || WaitForSingleObject(each.folder.change(), 0) != WAIT_TIMEOUT;
      // Watched again first, so that nothing falls between.
      if (hasChanged) each.folder.renew();
      Reading reading(each, feed, stop);
      if (hasChanged || each.error || each.restAge() == kTornAfter) reading.readNew();
      if (each.restAge() == kTornAfter) reading.takeRest();
    }
  }
  for (Followed& each : files) Reading(each, feed, stop).takeRest();
}

void followSafely(const std::vector<LogPath>& paths, Feed& feed, HANDLE stop, HANDLE hasReadFirst) {
  try {
    follow(paths, feed, stop, hasReadFirst);
  } catch (...) {
    feed.say(L"Log files are read no longer: " + failureText());
  }
  SetEvent(hasReadFirst);
}

}  // namespace

LogWatch::LogWatch(std::vector<LogPath> paths, Feed& feed)
    : hasReadFirst_(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      thread_([paths = std::move(paths), &feed, first = hasReadFirst_.get()](HANDLE stop) {
        followSafely(paths, feed, stop, first);
      }) {}

}  // namespace monitor
