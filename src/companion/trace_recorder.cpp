#include "companion/trace_recorder.h"

namespace zsupport {
namespace {

// Tells the thread: the one circumstance that an error report does not carry otherwise.
class ThreadContext final : public ContextService {
 public:
  std::wstring ContextText(LONG&, LONG) override {
    return L"thread " + std::to_wstring(GetCurrentThreadId());
  }
};

}  // namespace

LONG TraceRecorder::ReportError(const ErrorReport& report) {
  if (reports_.size() == kKept) reports_.pop_front();
  reports_.push_back(report);
  return 0;
}

ServiceFactory& serviceFactory() {
  static ServiceFactory factory = {
      []() -> std::unique_ptr<TraceService> { return std::make_unique<TraceRecorder>(); },
      []() -> std::unique_ptr<ContextService> { return std::make_unique<ThreadContext>(); }};
  return factory;
}

}  // namespace zsupport
