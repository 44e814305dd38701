// A trace service that keeps the last reports in memory.
#pragma once

#include <deque>

#include "companion/trace_service.h"

namespace zsupport {

class TraceRecorder final : public TraceService {
 public:
  const std::deque<ErrorReport>& reports() const { return reports_; }
  bool raisesErrors() const { return raiseErrors_; }

  void RaiseErrors(bool raise) override { raiseErrors_ = raise; }
  void LogFileEnabled(bool enabled) override { logFile = enabled; }
  void BelowARILevel(bool below) override { belowARI = below; }
  void DefaultAction(LONG) override {}
  void LogFile(const std::wstring&) override {}
  void ContextService(class ContextService*) override {}
  void AppTitle(const std::wstring&) override {}
  void AppVersion(const VersionStampRecord&) override {}
  void CallStackEnabled(bool enabled) override { callStack = enabled; }
  LONG ReportError(const ErrorReport& report) override {
    reports_.push_back(report);
    return 0;
  }
  void EventLogEnabled(bool enabled) override { eventLog = enabled; }
  void ZTraceEnabled(bool enabled) override { zTrace = enabled; }

  bool logFile = false, belowARI = false, callStack = false, eventLog = false, zTrace = false;

 private:
  std::deque<ErrorReport> reports_;
  bool raiseErrors_ = false;
};

}  // namespace zsupport
