// GZSupport: version stamps.
#include <windows.h>

#include <string>
#include <vector>

#include "automation/ansi.h"
#include "automation/error.h"
#include "automation/number_text.h"
#include "automation/runtime_rules.h"
#include "support/gzsupport.h"
#include "support/member.h"

namespace zsupport {
namespace {

constexpr LONG kAlpha = 1;
constexpr LONG kBeta = 2;
constexpr LONG kReleaseCandidate = 16;
constexpr LONG kCandidateNumber = 15;
constexpr std::wstring_view kCandidateMark = L"RC";

std::vector<std::wstring> partsOf(std::wstring_view text) {
  std::vector<std::wstring> parts;
  if (text.empty()) return parts;
  for (size_t start = 0; start != std::wstring_view::npos;) {
    const size_t dot = text.find(L'.', start);
    parts.emplace_back(text.substr(start, dot == std::wstring_view::npos ? dot : dot - start));
    start = dot == std::wstring_view::npos ? dot : dot + 1;
  }
  return parts;
}

const std::wstring& partAt(const std::vector<std::wstring>& parts, size_t index) {
  if (index >= parts.size()) throw makeError(runtime::kSubscriptOutOfRange);
  return parts[index];
}

// The mark of an alpha or beta build at the end of the last part, which loses it.
LONG takeBuildMark(std::wstring& last) {
  if (last.empty()) return 0;
  const int code = nearestAnsiCode(last.back());
  // Not 945, the letter that is written: deliberate.
  const bool isAlpha = code == 65 || code == 97 || code == 897;
  const bool isBeta = code == 66 || code == 98 || code == 223 || code == 946;
  if (!isAlpha && !isBeta) return 0;
  last.pop_back();
  return isAlpha ? kAlpha : kBeta;
}

void removeAll(std::wstring& text, const std::wstring& what) {
  std::wstring kept;
  size_t start = 0;
  for (size_t found; (found = text.find(what, start)) != std::wstring::npos;) {
    kept.append(text, start, found - start);
    start = found + what.size();
  }
  text = kept.append(text, start);
}

// A release candidate's mark, which replaces the build's.
void takeCandidateMark(std::wstring& last, LONG& releaseType) {
  const size_t mark = last.find(kCandidateMark);
  if (mark == std::wstring::npos) return;
  const LONG number = toWholeNumber(last.substr(mark + kCandidateMark.size()));
  releaseType = number | kReleaseCandidate;
  removeAll(last, std::wstring(kCandidateMark) + decimalText(number & kCandidateNumber));
}

VersionStampRecord parse(std::wstring_view text) {
  VersionStampRecord stamp{};
  std::vector<std::wstring> parts = partsOf(text);
  if (parts.empty()) throw makeError(runtime::kSubscriptOutOfRange);
  std::wstring& last = parts.back();
  stamp.ReleaseType = takeBuildMark(last);
  takeCandidateMark(last, stamp.ReleaseType);
  last = toNumberText(numericPrefix(last));
  stamp.Major = toWholeNumber(partAt(parts, 0));
  stamp.Minor = toWholeNumber(partAt(parts, 1));
  // Of four numbers the third is skipped: deliberate.
  if (parts.size() == 3 || parts.size() == 4) stamp.Revision = toWholeNumber(last);
  return stamp;
}

std::wstring format(const VersionStampRecord& stamp, bool full, bool includeReleaseType,
                    bool hideRevision) {
  std::wstring text = decimalText(stamp.Major) + L"." + decimalText(stamp.Minor);
  if (!hideRevision) text += (full ? L".0." : L".") + decimalText(stamp.Revision);
  if (!includeReleaseType) return text;
  if (stamp.ReleaseType & kReleaseCandidate) {
    return text + L"RC" + decimalText(stamp.ReleaseType & kCandidateNumber);
  }
  if (stamp.ReleaseType & kAlpha) text += L'\u03B1';
  if (stamp.ReleaseType & kBeta) text += L'\u03B2';
  return text;
}

int compare(LONG a, LONG b) { return a < b ? -1 : a > b ? 1 : 0; }

}  // namespace

HRESULT GZSupportObject::VersionStamp(BSTR* text, VersionStampRecord* stamp) {
  return kSupport.give(L"Function VersionStamp", {text}, stamp,
                       [&] { return parse(viewOf(*text)); });
}

HRESULT GZSupportObject::VersionString(VersionStampRecord* stamp, VARIANT_BOOL* full,
                                       VARIANT_BOOL* includeReleaseType, VARIANT_BOOL* hideRevision,
                                       BSTR* text) {
  return kSupport.give(L"Function VersionString", {stamp, full, includeReleaseType, hideRevision},
                       text,
                       [&] { return format(*stamp, *full, *includeReleaseType, *hideRevision); });
}

// The release type takes no part: deliberate.
HRESULT GZSupportObject::CompareVersionStamps(VersionStampRecord* left, VersionStampRecord* right,
                                              LONG* order) {
  return atBoundary(__uuidof(_GZSupport), {left, right, order}, [&] {
    *order = compare(left->Major, right->Major);
    if (*order == 0) *order = compare(left->Minor, right->Minor);
    if (*order == 0) *order = compare(left->Revision, right->Revision);
  });
}

HRESULT GZSupportObject::OSVersion(VersionStampRecord* version) {
  return atBoundary(__uuidof(_GZSupport), {version}, [&] {
    *version = {};
    OSVERSIONINFOA system{};
    system.dwOSVersionInfoSize = sizeof system;
    GetVersionExA(&system);
    // The system's major version is lost and its minor one takes its place: deliberate.
    version->Major = static_cast<LONG>(system.dwMinorVersion);
    version->Revision = static_cast<LONG>(system.dwBuildNumber);
  });
}

}  // namespace zsupport
