#include "frame/mdlErrorHandling.h"

#include "automation/error.h"
#include "automation/module.h"
#include "frame/mdlSupport.h"
#include "frame/mdlZTrace.h"
#include "frame/thread_state.h"

namespace zsupport {
namespace {

// Everything that can go wrong while an error is being recorded is skipped.
template <class Step>
void ignoringErrors(Step&& step) noexcept {
  try {
    step();
  } catch (...) {
  }
}

// A thread for whose state there is no memory cannot have been told whether to raise. Its errors
// reach the caller: a loss that nobody hears of is worse than an error too many.
bool raisesErrors() noexcept {
  bool raises = true;
  ignoringErrors([&] { raises = threadState().RaiseErrors; });
  return raises;
}

// An error that already carries the library's source keeps only the outermost label; a foreign
// source stays readable behind "!".
std::wstring labelledSource(const std::wstring& source, const wchar_t* className,
                            const wchar_t* procName) {
  const std::wstring product{versionText(L"ProductName")};
  std::wstring labelled = product + L"." + className + L"::" + procName;
  if (source.compare(0, product.size(), product) != 0) labelled += L"!" + source;
  return labelled;
}

}  // namespace

LONG HandleError(const wchar_t* ClassName, const wchar_t* ProcName, bool bInformation,
                 LONG lReserved) {
  ErrorReport report;
  LONG action = kNoAnswer;
  const bool isError = !bInformation;
  if (isError) report.error = currentError();
  // There may have been no memory for the thread's state when it was raised.
  if (report.error.isOwn) SetRaiseErrors(true);
  ignoringErrors([] { EnsureTrace(); });
  ignoringErrors([&] { report.ContextText = contextService().ContextText(action, 1); });
  ignoringErrors([&] {
    report.ClassName = ClassName;
    report.ProcName = ProcName;
    report.bInformation = bInformation;
    report.lReserved = lReserved;
    if (TraceService* const service = threadState().traceService.get()) {
      action = service->ReportError(report);
    }
  });
  if (report.error.isOwn || (isError && raisesErrors())) {
    ignoringErrors(
        [&] { report.error.source = labelledSource(report.error.source, ClassName, ProcName); });
    throw std::move(report.error);
  }
  ignoringErrors([&] {
    // Without a debugger the break would end the process.
    if (isError && DebugBreakOn() && IsDebuggerPresent()) DebugBreak();
  });
  return action;
}

void SetRaiseErrors(bool Flag) noexcept {
  ignoringErrors([&] {
    ThreadState& state = threadState();
    state.RaiseErrors = Flag;
    if (state.traceService) state.traceService->RaiseErrors(Flag);
  });
}

void raiseOwn(LONG number, std::wstring_view source, std::wstring_view description) {
  SetRaiseErrors(true);
  Error error = makeError(number, source, description);
  error.isOwn = true;
  throw error;
}

}  // namespace zsupport
