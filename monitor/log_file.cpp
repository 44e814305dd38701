#include "log_file.h"

#include <algorithm>

namespace monitor {
namespace {

constexpr DWORD kChunk = 256 * 1024;
constexpr size_t kLongestLine = 8 * 1024 * 1024;  // bytes; what is longer is no line
// Of a file that was never renamed, the end is read.
constexpr ULONGLONG kMostOfOneFile = 64 * 1024 * 1024;

ULONGLONG joined(DWORD high, DWORD low) { return static_cast<ULONGLONG>(high) << 32 | low; }

}  // namespace

bool LogFile::Part::isMissing() const {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

LogFile::Part LogFile::open(const std::wstring& path) {
  Part part;
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
  }
  return part;
}

// The current file is opened first: whatever is renamed after that is found under its new name.
DWORD LogFile::readNew(const TakeLine& take) {
  Part part = open(path_);
  if (!part.file && !part.isMissing()) return part.error;
  if (part.file && hasBegun_ && part.isSameFile(current_)) {
    if (part.size < offset_) {  // somebody has emptied it
      if (!endPart(take)) return ERROR_CANCELLED;
      offset_ = 0;
    }
    return readFrom(part, offset_, take);
  }
  if (const DWORD error = readOlderParts(take)) return error;
  if (!part.file) return ERROR_SUCCESS;
  offset_ = part.size > kMostOfOneFile ? part.size - kMostOfOneFile : 0;
  const DWORD error = readFrom(part, offset_, take);
  part.file = Handle();
  current_ = std::move(part);
  hasBegun_ = true;
  return error;
}

// What was being read before it got another name, from where it was left, and whatever was begun
// and filled meanwhile; the later ones last.
DWORD LogFile::readOlderParts(const TakeLine& take) {
  std::vector<Part> parts;
  for (const wchar_t* const ending : {L".older", L".old"}) {
    parts.push_back(open(path_ + ending));
    if (!parts.back().file && !parts.back().isMissing()) return parts.back().error;
  }
  std::erase_if(parts, [](const Part& part) { return !part.file; });
  std::sort(parts.begin(), parts.end(),
            [](const Part& a, const Part& b) { return a.written < b.written; });
  for (Part& part : parts) {
    const bool isCurrent = hasBegun_ && part.isSameFile(current_);
    if (!isCurrent && isFinished(part)) continue;
    ULONGLONG offset = isCurrent ? offset_ : 0;
    if (const DWORD error = readFrom(part, offset, take)) return error;
    if (!endPart(take)) return ERROR_CANCELLED;
    part.file = Handle();
    finished_.push_back(std::move(part));
  }
  if (!endPart(take)) return ERROR_CANCELLED;
  constexpr size_t most = 8;
  if (finished_.size() > most) finished_.erase(finished_.begin());
  hasBegun_ = false;
  return ERROR_SUCCESS;
}

// A number of a file may be given again, so it must also be as it was.
bool LogFile::isFinished(const Part& part) const {
  return std::any_of(finished_.begin(), finished_.end(), [&part](const Part& each) {
    return each.identity == part.identity && each.size == part.size && each.written == part.written;
  });
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
    if (!endPart(take)) return false;
  }
  rest_ += bytes;
  return rest_.size() <= kLongestLine || endPart(take);
}

bool LogFile::endPart(const TakeLine& take) {
  const bool goesOn = rest_.empty() || take(rest_);
  rest_.clear();
  return goesOn;
}

}  // namespace monitor
