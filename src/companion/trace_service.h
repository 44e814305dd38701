// The trace and error-log service that the error frame reports to, and the context-text service
// that describes where an error happened. Both are seams: the frame asks the factory in effect.
#pragma once

#include <windows.h>

#include <memory>
#include <string>

#include "ZSupport.h"
#include "automation/error.h"

namespace zsupport {

// The answers of ReportError that a procedure looks at; any other value means: leave.
enum ErrorAction : LONG { kRetry = 1, kContinueNext = 2, kLeave = 3 };

// Returned, and thus acted on, when no service could answer.
inline constexpr LONG kNoAnswer = -1;

// One error as a procedure's frame saw it.
struct ErrorReport {
  std::wstring ClassName;
  std::wstring ProcName;
  Error error;
  LONG Line = 0;  // 0: the procedure has no line numbers
  std::wstring ContextText;
  bool bInformation = false;
  LONG lReserved = 0;
};

class ContextService {
 public:
  virtual ~ContextService() = default;
  // A text about the circumstances of the current call; action is the caller's, unchanged.
  virtual std::wstring ContextText(LONG& action, LONG what) = 0;
};

class TraceService {
 public:
  virtual ~TraceService() = default;
  virtual void RaiseErrors(bool raise) = 0;
  virtual void LogFileEnabled(bool enabled) = 0;
  virtual void BelowARILevel(bool below) = 0;
  virtual void DefaultAction(LONG action) = 0;
  virtual void LogFile(const std::wstring& path) = 0;
  virtual void ContextService(class ContextService* service) = 0;
  virtual void AppTitle(const std::wstring& title) = 0;
  virtual void AppVersion(const VersionStampRecord& version) = 0;
  virtual void CallStackEnabled(bool enabled) = 0;
  virtual LONG ReportError(const ErrorReport& report) = 0;
  virtual void EventLogEnabled(bool enabled) = 0;
  virtual void ZTraceEnabled(bool enabled) = 0;
};

// Where the frame gets its services from; one pair per thread that reports.
struct ServiceFactory {
  std::unique_ptr<TraceService> (*makeTraceService)();
  std::unique_ptr<ContextService> (*makeContextService)();
};

// The factory in effect, for all threads. Assign to put other services in place.
ServiceFactory& serviceFactory();

}  // namespace zsupport
