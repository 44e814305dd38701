// The trace and error-log service: log file, system event log, live trace, and a question to a
// person at the highest level.
#pragma once

#include "companion/trace_service.h"

namespace zsupport {

class TraceLog final : public TraceService {
 public:
  // What nobody sets stays as here, and logs: a setting that cannot be read silences nothing.
  TraceLog();

  // A record is the same whether the error is raised or not.
  void RaiseErrors(bool) override {}
  void LogFileEnabled(bool enabled) override { logFileEnabled_ = enabled; }
  // False: a person is asked what to do after each error.
  void BelowARILevel(bool below) override { belowARILevel_ = below; }
  // What ReportError answers when nobody is asked. Retry counts as leave: an error that comes again
  // would be retried for ever.
  void DefaultAction(LONG action) override { defaultAction_ = action == kRetry ? kLeave : action; }
  // Empty: the default path, which also serves when this one cannot be written. A relative path
  // starts at the folder of the default path.
  void LogFile(const std::wstring& path) override { logFile_ = path; }
  // Reports bring their context text along.
  void ContextService(class ContextService*) override {}
  void AppTitle(const std::wstring& title) override { appTitle_ = title; }
  void AppVersion(const VersionStampRecord& version) override { appVersion_ = version; }
  // Whether records carry the context text.
  void CallStackEnabled(bool enabled) override { callStackEnabled_ = enabled; }
  LONG ReportError(const ErrorReport& report) override;
  void EventLogEnabled(bool enabled) override { eventLogEnabled_ = enabled; }
  void ZTraceEnabled(bool enabled) override { zTraceEnabled_ = enabled; }

 private:
  std::wstring recordOf(const ErrorReport& report) const;
  void writeToFile(const std::wstring& record);
  std::wstring pathOf(const std::wstring& path) const;
  void writeToEventLog(const ErrorReport& report, const std::wstring& record) const;
  LONG ask(const ErrorReport& report) const;

  bool logFileEnabled_ = true;
  bool belowARILevel_ = true;
  LONG defaultAction_ = kLeave;
  std::wstring logFile_;
  std::wstring defaultPath_;  // asked for at the first record
  std::wstring appTitle_;
  VersionStampRecord appVersion_{};
  bool callStackEnabled_ = false;
  bool eventLogEnabled_ = false;
  bool zTraceEnabled_ = false;
};

}  // namespace zsupport
