#include "companion/trace_log.h"

#include <windows.h>

#include <cwchar>
#include <iterator>

#include "automation/module.h"
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
    const std::wstring host(path, length);
    return L"in " + host.substr(host.find_last_of(L'\\') + 1);
  }
};

std::wstring timeText() {
  SYSTEMTIME now;
  wchar_t text[32];
  GetLocalTime(&now);
  std::swprintf(text, std::size(text), L"%04u-%02u-%02u %02u:%02u:%02u.%03u", now.wYear, now.wMonth,
                now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds);
  return text;
}

// Run-time numbers in decimal, everything else as the HRESULT that it is.
std::wstring numberText(LONG number) {
  if (number >= 0 && number <= 0xFFFF) return std::to_wstring(number);
  wchar_t text[16];
  std::swprintf(text, std::size(text), L"0x%08lX", static_cast<ULONG>(number));
  return text;
}

}  // namespace

LONG TraceLog::ReportError(const ErrorReport& report) {
  const std::wstring record = recordOf(report);
  if (logFileEnabled_) {
    appendToLog(logFile_.empty() ? defaultLogPath(versionText(L"CompanyName"),
                                                  versionText(L"ProductName"), appTitle_)
                                 : logFile_,
                record);
  }
  if (eventLogEnabled_) writeToEventLog(report, record);
  if (zTraceEnabled_) OutputDebugStringW((record + L"\n").c_str());
  return belowARILevel_ || report.bInformation ? defaultAction_ : ask(report);
}

// Fields are parted by tabs; README.md lists them.
std::wstring TraceLog::recordOf(const ErrorReport& report) const {
  const std::wstring version = std::to_wstring(appVersion_.Major) + L"." +
                               std::to_wstring(appVersion_.Minor) + L"." +
                               std::to_wstring(appVersion_.Revision);
  const std::wstring fields[] = {
      timeText(),
      appTitle_ + L" " + version,
      std::to_wstring(GetCurrentProcessId()),
      std::to_wstring(GetCurrentThreadId()),
      report.ClassName,
      report.ProcName,
      numberText(report.error.number),
      report.error.source,
      report.error.description,
      callStackEnabled_ ? report.ContextText : L"",
  };
  std::wstring record;
  for (std::wstring field : fields) {
    for (wchar_t& c : field) {
      if (c == L'\t') c = L' ';
    }
    if (!record.empty()) record += L'\t';
    record += field;
  }
  return record;
}

void TraceLog::writeToEventLog(const ErrorReport& report, const std::wstring& record) const {
  const HANDLE log = RegisterEventSourceW(nullptr, appTitle_.c_str());
  if (!log) return;
  const std::wstring entry = record.substr(0, kLongestEntry);
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

ServiceFactory& serviceFactory() {
  static ServiceFactory factory = {
      []() -> std::unique_ptr<TraceService> { return std::make_unique<TraceLog>(); },
      []() -> std::unique_ptr<ContextService> { return std::make_unique<HostContext>(); }};
  return factory;
}

}  // namespace zsupport
