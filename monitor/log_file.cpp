#include "log_file.h"

#include <algorithm>
#include <vector>

namespace monitor {
namespace {

constexpr DWORD kChunk = 256 * 1024;
constexpr size_t kLongestLine = 8 * 1024 * 1024;  // bytes; what is longer is no line
// Of a file that was never renamed, the end is read.
constexpr ULONGLONG kMostOfOneFile = 64 * 1024 * 1024;

ULONGLONG joined(DWORD high, DWORD low) { return static_cast<ULONGLONG>(high) << 32 | low; }

}  // namespace

LogFile::Part LogFile::open(const std::wstring& path) {
  Part part;
  part.file = Handle(CreateFileW(path.c_str(), GENERIC_READ,
                                 FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                 OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  BY_HANDLE_FILE_INFORMATION information;
  if (!part.file || !GetFileInformationByHandle(part.file.get(), &information)) {
    part.error = GetLastError();
    part.file = Handle();
  } else {
    part.identity = joined(information.nFileIndexHigh, information.nFileIndexLow);
    part.written = information.ftLastWriteTime;
    part.size = joined(information.nFileSizeHigh, information.nFileSizeLow);
  }
  return part;
}

DWORD LogFile::readNew(const TakeLine& take) {
  if (!hasBegun_) readOlderParts(take);
  hasBegun_ = true;
  const Part part = open(path_);
  if (!part.file) {
    const bool isMissing = part.error == ERROR_FILE_NOT_FOUND || part.error == ERROR_PATH_NOT_FOUND;
    return isMissing ? ERROR_SUCCESS : part.error;
  }
  if (current_ != part.identity) {
    if (current_) finishRenamed(take);
    current_ = part.identity;
    offset_ = part.size > kMostOfOneFile ? part.size - kMostOfOneFile : 0;
  } else if (part.size < offset_) {  // somebody has emptied it
    endPart(take);
    offset_ = 0;
  }
  return readFrom(part, offset_, take);
}

// As they were left by those who wrote before; the later one last.
void LogFile::readOlderParts(const TakeLine& take) {
  std::vector<Part> parts;
  for (const wchar_t* const ending : {L".older", L".old"}) parts.push_back(open(path_ + ending));
  if (CompareFileTime(&parts[0].written, &parts[1].written) > 0) std::swap(parts[0], parts[1]);
  for (const Part& part : parts) {
    if (part.file) readFrom(part, 0, take);
    endPart(take);
  }
}

// What came into the part that was being read before it got another name. When it has gone, what is
// there instead was begun and filled meanwhile.
void LogFile::finishRenamed(const TakeLine& take) {
  std::vector<Part> parts;
  for (const wchar_t* const ending : {L".old", L".older"}) parts.push_back(open(path_ + ending));
  const auto renamed = std::find_if(parts.begin(), parts.end(), [this](const Part& part) {
    return part.file && part.identity == current_;
  });
  if (renamed != parts.end()) {
    readFrom(*renamed, offset_, take);
    endPart(take);
  } else {
    endPart(take);
    if (parts[0].file) readFrom(parts[0], 0, take);
    endPart(take);
  }
}

DWORD LogFile::readFrom(const Part& part, ULONGLONG offset, const TakeLine& take) {
  LARGE_INTEGER place;
  place.QuadPart = static_cast<LONGLONG>(offset);
  if (!SetFilePointerEx(part.file.get(), place, nullptr, FILE_BEGIN)) return GetLastError();
  std::string bytes(kChunk, '\0');
  for (;;) {
    DWORD count = 0;
    if (!ReadFile(part.file.get(), bytes.data(), kChunk, &count, nullptr)) return GetLastError();
    if (count == 0) return ERROR_SUCCESS;
    offset_ = offset += count;
    takeBytes({bytes.data(), count}, take);
  }
}

void LogFile::takeBytes(std::string_view bytes, const TakeLine& take) {
  for (size_t end; (end = bytes.find('\n')) != bytes.npos; bytes.remove_prefix(end + 1)) {
    rest_ += bytes.substr(0, end);
    if (rest_.ends_with('\r')) rest_.pop_back();
    if (!rest_.empty()) take(rest_);
    rest_.clear();
  }
  rest_ += bytes;
  if (rest_.size() > kLongestLine) endPart(take);
}

void LogFile::endPart(const TakeLine& take) {
  if (!rest_.empty()) take(rest_);
  rest_.clear();
}

}  // namespace monitor
