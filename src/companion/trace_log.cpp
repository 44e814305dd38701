#include "companion/trace_log.h"

#include <windows.h>

#include <string_view>

#include "automation/module.h"
#include "automation/number_text.h"
#include "companion/log_file.h"

namespace zsupport {
namespace {

constexpr DWORD kRecordMessage = 1;       // of messages.mc
constexpr size_t kLongestEntry = 31'000;  // characters; the system's limit is just above

// The host program: what the other fields of a record do not say.
class HostContext final : public ContextService {
 public:
  std::wstring ContextText(LONG&, LONG) override {
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring_view host(path, length);
    return std::wstring(L"in ").append(host.substr(host.find_last_of(L'\\') + 1));
  }
};

std::wstring timeText() {
  SYSTEMTIME now;
  wchar_t text[32];
  GetLocalTime(&now);
  wsprintfW(text, L"%04u-%02u-%02u %02u:%02u:%02u.%03u", now.wYear, now.wMonth, now.wDay, now.wHour,
            now.wMinute, now.wSecond, now.wMilliseconds);
  return text;
}

// Run-time numbers in decimal, everything else as the HRESULT that it is.
std::wstring numberText(LONG number) {
  return formatted(number >= 0 && number <= 0xFFFF ? L"%u" : L"0x%08X", static_cast<ULONG>(number));
}

// What would part a record for one reader or another, or shows it in another order than it has:
// controls, separators of lines and paragraphs, marks of writing direction; and halves of a
// character, which UTF-8 cannot tell.
bool isSeenAsIs(wchar_t c, wchar_t before, wchar_t after) {
  if (IS_HIGH_SURROGATE(c)) return IS_LOW_SURROGATE(after);
  if (IS_LOW_SURROGATE(c)) return IS_HIGH_SURROGATE(before);
  const bool isControl = c < 0x20 || (c >= 0x7F && c < 0xA0);
  const bool isMark = c == 0x61C || c == 0x200E || c == 0x200F || (c >= 0x2028 && c <= 0x202E) ||
                      (c >= 0x2066 && c <= 0x2069) || c == 0xFEFF;
  return !isControl && !isMark && c != L'\\';
}

// One field of a record, with escapes for all that could make it look like another. As the
// backslash is escaped itself, the text can be read back.
void appendField(std::wstring& record, std::wstring_view field) {
  if (!record.empty()) record += L'\t';
  for (size_t i = 0; i < field.size(); ++i) {
    const wchar_t c = field[i];
    const wchar_t before = i > 0 ? field[i - 1] : L'\0';
    if (isSeenAsIs(c, before, i + 1 < field.size() ? field[i + 1] : L'\0')) {
      record += c;
    } else if (const size_t named = std::wstring_view(L"\\\r\n\t").find(c); named < 4) {
      (record += L'\\') += L"\\rnt"[named];
    } else {
      record += formatted(L"\\u%04X", c);
    }
  }
}

constinit ServiceFactory factory = {
    []() -> std::unique_ptr<TraceService> { return std::make_unique<TraceLog>(); },
    []() -> std::unique_ptr<ContextService> { return std::make_unique<HostContext>(); }};

}  // namespace

TraceLog::TraceLog() : appTitle_(versionText(L"FileDescription")) {
  const ModuleVersion version = moduleVersion();
  appVersion_ = {version.major, version.minor, version.revision, 0};
}

LONG TraceLog::ReportError(const ErrorReport& report) {
  const std::wstring record = recordOf(report);
  if (logFileEnabled_) writeToFile(record);
  if (eventLogEnabled_) writeToEventLog(report, record);
  if (zTraceEnabled_) OutputDebugStringW((record + L"\n").c_str());
  return belowARILevel_ || report.bInformation ? defaultAction_ : ask(report);
}

// Fields are parted by tabs; README.md lists them.
std::wstring TraceLog::recordOf(const ErrorReport& report) const {
  std::wstring record = timeText();
  wchar_t version[48];
  wsprintfW(version, L" %d.%d.%d", appVersion_.Major, appVersion_.Minor, appVersion_.Revision);
  appendField(record, appTitle_ + version);
  appendField(record, formatted(L"%u", GetCurrentProcessId()));
  appendField(record, formatted(L"%u", GetCurrentThreadId()));
  appendField(record, report.ClassName);
  appendField(record, report.ProcName);
  appendField(record, numberText(report.error.number));
  appendField(record, report.error.source);
  appendField(record, report.error.description);
  appendField(record, callStackEnabled_ ? std::wstring_view(report.ContextText) : L"");
  return record;
}

// The folders are asked for once: a record costs no more than what it writes.
void TraceLog::writeToFile(const std::wstring& record) {
  if (defaultPath_.empty()) defaultPath_ = defaultLogPath(appTitle_);
  if (logFile_.empty() || !appendToLog(pathOf(logFile_), record)) appendToLog(defaultPath_, record);
}

// A path without a root is one below the default path's folder: what is current in a program
// changes.
std::wstring TraceLog::pathOf(const std::wstring& path) const {
  const bool hasRoot = path.find_first_of(L"\\/") == 0 || path.find(L':') == 1;
  return hasRoot ? path : defaultPath_.substr(0, defaultPath_.find_last_of(L'\\') + 1) + path;
}

void TraceLog::writeToEventLog(const ErrorReport& report, const std::wstring& record) const {
  const HANDLE log = RegisterEventSourceW(nullptr, appTitle_.c_str());
  if (!log) return;
  // What the viewer would take for an insertion is parted.
  std::wstring entry;
  for (const wchar_t c : record) {
    if (c >= L'0' && c <= L'9' && entry.ends_with(L'%')) entry += L' ';
    entry += c;
  }
  if (entry.size() > kLongestEntry) entry.resize(kLongestEntry);
  LPCWSTR text = entry.c_str();
  ReportEventW(log, report.bInformation ? EVENTLOG_INFORMATION_TYPE : EVENTLOG_ERROR_TYPE, 0,
               kRecordMessage, nullptr, 1, 0, &text, nullptr);
  DeregisterEventSource(log);
}

LONG TraceLog::ask(const ErrorReport& report) const {
  const std::wstring question = report.error.description + L"\n\n" + report.ClassName + L"::" +
                                report.ProcName + L"\n" + numberText(report.error.number) + L" " +
                                report.error.source;
  switch (MessageBoxW(GetActiveWindow(), question.c_str(), appTitle_.c_str(),
                      MB_ABORTRETRYIGNORE | MB_ICONWARNING)) {
    case IDRETRY:
      return kRetry;
    case IDIGNORE:
      return kContinueNext;
    default:
      return kLeave;
  }
}

ServiceFactory& serviceFactory() { return factory; }

}  // namespace zsupport
