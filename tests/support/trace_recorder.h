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
  void LogFileEnabled(bool) override {}
  void BelowARILevel(bool) override {}
  void DefaultAction(LONG) override {}
  void LogFile(const std::wstring&) override {}
  void ContextService(class ContextService*) override {}
  void AppTitle(const std::wstring&) override {}
  void AppVersion(const VersionStamp&) override {}
  void CallStackEnabled(bool) override {}
  LONG ReportError(const ErrorReport& report) override {
    reports_.push_back(report);
    return 0;
  }
  void EventLogEnabled(bool) override {}
  void ZTraceEnabled(bool) override {}

 private:
  std::deque<ErrorReport> reports_;
  bool raiseErrors_ = false;
};

}  // namespace zsupport
