#include "log_file.h"

#include <algorithm>
#include <utility>

#include "shared_file.h"

namespace monitor {
namespace {

constexpr DWORD kChunk = 256 * 1024;
constexpr size_t kLongestLine = 8 * 1024 * 1024;  // bytes; what is longer is no line
// Of a file that was never renamed, the end is read.
constexpr ULONGLONG kMostOfOneFile = 64 * 1024 * 1024;
constexpr DWORD kHead = 64;  // bytes by which a part is known: a time and more
constexpr int kMostTries = 10;

}  // namespace

bool LogFile::Part::isMissing() const {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

LogFile::Part LogFile::open(const std::wstring& path) {
  Part part;
  part.path = path;
  part.file = openShared(path);
  BY_HANDLE_FILE_INFORMATION found;
  if (!part.file || !GetFileInformationByHandle(part.file.get(), &found)) {
    part.error = GetLastError();
    part.file = Handle();
  } else {
    part.identity = joined(found.nFileIndexHigh, found.nFileIndexLow);
    part.size = joined(found.nFileSizeHigh, found.nFileSizeLow);
    part.written =
        joined(found.ftLastWriteTime.dwHighDateTime, found.ftLastWriteTime.dwLowDateTime);
    DWORD length = 0;
    part.head.resize(kHead);
    ReadFile(part.file.get(), part.head.data(), kHead, &length, nullptr);
    part.head.resize(length);
  }
  return part;
}

bool LogFile::hasRest() const {
  return std::any_of(progress_.begin(), progress_.end(),
                     [](const Progress& each) { return !each.rest.empty(); });
}

bool LogFile::takeRest(const TakeLine& take) { return takeRests(progress_, take); }

LogFile::Problem LogFile::readNew(const TakeLine& take) {
  Opened opened = openAll();
  if (opened.problem.error) return opened.problem;
  if (!know(opened, take)) return {ERROR_CANCELLED, path_};
  for (size_t i = 0; i < opened.parts.size(); ++i) {
    Part& part = opened.parts[i];
    if (const DWORD error = readFrom(part, progress_[i], take)) return {error, part.path};
    part.file = Handle();
    if (!part.isCurrent && !takeRest(progress_[i].rest, take)) return {ERROR_CANCELLED, part.path};
  }
  return {};
}

// The later ones last. The current one is opened first: whatever is renamed after that is found
// under its new name, also the one that was opened, which is not the current one then. One that
// cannot be opened is left out, but waited for a while if it may be the one that was being read.
LogFile::Opened LogFile::openAll() {
  Opened opened;
  std::vector<Part>& parts = opened.parts;
  Part current = open(path_);
  if (!current.file && !current.isMissing()) {
    opened.problem = {current.error, path_};
    return opened;
  }
  current.isCurrent = true;
  const bool hasBegun = std::any_of(progress_.begin(), progress_.end(),
                                    [](const Progress& each) { return each.isCurrent; });
  const auto isBegun = [this](const Part& part) {
    const Progress* const found = find(part);
    return found && found->isCurrent;
  };
  bool isFound = !hasBegun || isBegun(current);
  bool isRenamed = false;
  Problem locked;
  for (const wchar_t* const ending : {L".older", L".old"}) {
    Part part = open(path_ + ending);
    if (part.file) {
      isFound = isFound || isBegun(part);
      isRenamed = isRenamed || (current.file && part.identity == current.identity);
      // Nothing new in it: it is let go of at once, as the library may want to replace it.
      const Progress* const known = find(part);
      if (known && known->offset == part.size) part.file = Handle();
      parts.push_back(std::move(part));
    } else if (!part.isMissing()) {
      locked = {part.error, part.path};
      opened.areAll = false;
    }
  }
  if (locked.error && !isFound && ++tries_ < kMostTries) opened.problem = locked;
  if (!opened.problem.error) tries_ = 0;
  std::sort(parts.begin(), parts.end(),
            [](const Part& a, const Part& b) { return a.written < b.written; });
  if (current.file && !isRenamed) parts.push_back(std::move(current));
  return opened;
}

LogFile::Progress* LogFile::find(const Part& part) {
  const auto found =
      std::find_if(progress_.begin(), progress_.end(), [&part](const Progress& each) {
        return each.identity == part.identity && each.offset <= part.size &&
               part.head.starts_with(each.head);
      });
  return found != progress_.end() ? &*found : nullptr;
}

// What is known of the parts that are there, in their order, and of those that may come back: a
// current one that is missing, and any that cannot be opened. Of those that are gone, the beginning
// of a last line is taken.
bool LogFile::know(const Opened& opened, const TakeLine& take) {
  std::vector<Progress> known;
  for (const Part& part : opened.parts) {
    Progress* const found = find(part);
    const bool isTooLong = part.isCurrent && part.size > kMostOfOneFile;
    const ULONGLONG start = isTooLong ? part.size - kMostOfOneFile : 0;
    known.push_back({part.identity, found ? found->offset : start, part.head, part.isCurrent,
                     found ? std::exchange(found->rest, {}) : std::string()});
  }
  const bool isCurrentMissing = opened.parts.empty() || !opened.parts.back().isCurrent;
  for (Progress& each : progress_) {
    const bool isThere =
        std::any_of(opened.parts.begin(), opened.parts.end(),
                    [&each](const Part& part) { return part.identity == each.identity; });
    const bool mayComeBack = !opened.areAll || (each.isCurrent && isCurrentMissing);
    if (!isThere && mayComeBack) known.push_back(std::exchange(each, {}));
  }
  progress_.swap(known);
  return takeRests(known, take);
}

bool LogFile::takeRests(std::vector<Progress>& parts, const TakeLine& take) {
  for (Progress& each : parts) {
    if (!takeRest(each.rest, take)) return false;
  }
  return true;
}

DWORD LogFile::readFrom(const Part& part, Progress& progress, const TakeLine& take) {
  if (!part.file) return ERROR_SUCCESS;
  LARGE_INTEGER place;
  place.QuadPart = static_cast<LONGLONG>(progress.offset);
  if (!SetFilePointerEx(part.file.get(), place, nullptr, FILE_BEGIN)) return GetLastError();
  std::string bytes(kChunk, '\0');
  for (;;) {
    DWORD count = 0;
    if (!ReadFile(part.file.get(), bytes.data(), kChunk, &count, nullptr)) return GetLastError();
    if (count == 0) return ERROR_SUCCESS;
    progress.offset += count;
    if (!takeBytes({bytes.data(), count}, progress.rest, take)) return ERROR_CANCELLED;
  }
}

bool LogFile::takeBytes(std::string_view bytes, std::string& rest, const TakeLine& take) {
  for (size_t end; (end = bytes.find('\n')) != bytes.npos; bytes.remove_prefix(end + 1)) {
    rest += bytes.substr(0, end);
    if (rest.ends_with('\r')) rest.pop_back();
    if (!takeRest(rest, take)) return false;
  }
  rest += bytes;
  if (!bytes.empty()) restSince_ = GetTickCount64();
  return rest.size() <= kLongestLine || takeRest(rest, take);
}

bool LogFile::takeRest(std::string& rest, const TakeLine& take) {
  const bool goesOn = rest.empty() || take(rest);
  rest.clear();
  return goesOn;
}

}  // namespace monitor
