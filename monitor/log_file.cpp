#include "log_file.h"

#include <algorithm>

namespace monitor {
namespace {

constexpr DWORD kChunk = 256 * 1024;
constexpr size_t kLongestLine = 8 * 1024 * 1024;  // bytes; what is longer is no line
// Of a file that was never renamed, the end is read.
constexpr ULONGLONG kMostOfOneFile = 64 * 1024 * 1024;
constexpr DWORD kHead = 64;  // bytes by which a part is known: a time and more
constexpr int kMostTries = 10;

ULONGLONG joined(DWORD high, DWORD low) { return static_cast<ULONGLONG>(high) << 32 | low; }

}  // namespace

bool LogFile::Part::isMissing() const {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

LogFile::Part LogFile::open(const std::wstring& path) {
  Part part;
  part.path = path;
  part.file = Handle(CreateFileW(path.c_str(), GENERIC_READ,
                                 FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                 OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
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

LogFile::Problem LogFile::readNew(const TakeLine& take) {
  Problem problem;
  const std::vector<Part> parts = openAll(problem);
  if (problem.error) return problem;
  know(parts);
  for (size_t i = 0; i < parts.size(); ++i) {
    const Part& part = parts[i];
    const bool isBegun = restOf_ == part.identity && progress_[i].offset > 0;
    if (!isBegun && !takeRest(take)) return {ERROR_CANCELLED, part.path};
    restOf_ = part.identity;
    if (const DWORD error = readFrom(part, progress_[i].offset, take)) return {error, part.path};
    if (!part.isCurrent && !takeRest(take)) return {ERROR_CANCELLED, part.path};
  }
  return {};
}

// The later ones last. The current one is opened first: whatever is renamed after that is found
// under its new name. One that cannot be opened is left out, but waited for a while if it may be
// the one that was being read.
std::vector<LogFile::Part> LogFile::openAll(Problem& problem) {
  std::vector<Part> parts;
  Part current = open(path_);
  if (!current.file && !current.isMissing()) {
    problem = {current.error, path_};
    return parts;
  }
  current.isCurrent = true;
  const bool hasBegun = std::any_of(progress_.begin(), progress_.end(),
                                    [](const Progress& each) { return each.isCurrent; });
  const auto isBegun = [this](const Part& part) {
    const Progress* const found = find(part);
    return found && found->isCurrent;
  };
  bool isFound = !hasBegun || isBegun(current);
  Problem locked;
  for (const wchar_t* const ending : {L".older", L".old"}) {
    Part part = open(path_ + ending);
    if (part.file) {
      isFound = isFound || isBegun(part);
      parts.push_back(std::move(part));
    } else if (!part.isMissing()) {
      locked = {part.error, part.path};
    }
  }
  if (locked.error && !isFound && ++tries_ < kMostTries) problem = locked;
  if (!problem.error) tries_ = 0;
  std::sort(parts.begin(), parts.end(),
            [](const Part& a, const Part& b) { return a.written < b.written; });
  if (current.file) parts.push_back(std::move(current));
  return parts;
}

const LogFile::Progress* LogFile::find(const Part& part) const {
  const auto found =
      std::find_if(progress_.begin(), progress_.end(), [&part](const Progress& each) {
        return each.identity == part.identity && each.offset <= part.size &&
               part.head.starts_with(each.head);
      });
  return found != progress_.end() ? &*found : nullptr;
}

// What is known of the parts that are there, in their order. A current one that is missing may come
// back.
void LogFile::know(const std::vector<Part>& parts) {
  std::vector<Progress> known;
  for (const Part& part : parts) {
    const Progress* const found = find(part);
    const bool isTooLong = part.isCurrent && part.size > kMostOfOneFile;
    const ULONGLONG start = isTooLong ? part.size - kMostOfOneFile : 0;
    known.push_back({part.identity, found ? found->offset : start, part.head, part.isCurrent});
  }
  if (parts.empty() || !parts.back().isCurrent) {
    for (const Progress& each : progress_) {
      const bool isThere = std::any_of(parts.begin(), parts.end(), [&each](const Part& part) {
        return part.identity == each.identity;
      });
      if (each.isCurrent && !isThere) known.push_back(each);
    }
  }
  progress_ = std::move(known);
}

DWORD LogFile::readFrom(const Part& part, ULONGLONG& offset, const TakeLine& take) {
  LARGE_INTEGER place;
  place.QuadPart = static_cast<LONGLONG>(offset);
  if (!SetFilePointerEx(part.file.get(), place, nullptr, FILE_BEGIN)) return GetLastError();
  std::string bytes(kChunk, '\0');
  for (;;) {
    DWORD count = 0;
    if (!ReadFile(part.file.get(), bytes.data(), kChunk, &count, nullptr)) return GetLastError();
    if (count == 0) return ERROR_SUCCESS;
    offset += count;
    if (!takeBytes({bytes.data(), count}, take)) return ERROR_CANCELLED;
  }
}

bool LogFile::takeBytes(std::string_view bytes, const TakeLine& take) {
  for (size_t end; (end = bytes.find('\n')) != bytes.npos; bytes.remove_prefix(end + 1)) {
    rest_ += bytes.substr(0, end);
    if (rest_.ends_with('\r')) rest_.pop_back();
    if (!takeRest(take)) return false;
  }
  rest_ += bytes;
  return rest_.size() <= kLongestLine || takeRest(take);
}

bool LogFile::takeRest(const TakeLine& take) {
  const bool goesOn = rest_.empty() || take(rest_);
  rest_.clear();
  return goesOn;
}

}  // namespace monitor
