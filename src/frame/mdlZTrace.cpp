#include "frame/mdlZTrace.h"

#include "ZSupport.h"
#include "automation/module.h"
#include "frame/mdlGlobal.h"
#include "frame/mdlSupport.h"
#include "frame/thread_state.h"

namespace zsupport {

void EnsureTrace() {
  ThreadState& state = threadState();
  if (state.traceService) return;
  state.traceService = serviceFactory().makeTraceService();
  TraceService& service = *state.traceService;
  const LONG level = DebugLevelValue();
  const LONG targets = DebugTargets();
  // In this order: a failure leaves the rest as the service has it, which is such that it logs.
  service.AppTitle(versionText(L"FileDescription"));
  service.AppVersion(AppVersionStamp());
  service.DefaultAction(readDebugLong(L"Default Action", kLeave));
  service.BelowARILevel(level < edlARI);
  service.LogFile(readDebugText(L"LogFile"));
  service.CallStackEnabled(CallStackOn());
  service.LogFileEnabled((targets & edlTLogFile) && level >= edlLogFile);
  service.EventLogEnabled((targets & edlTEventLog) && level >= edlLogFile);
  service.ZTraceEnabled(targets & edlTZTrace);
  service.ContextService(&contextService());
}

ContextService& contextService() {
  ThreadState& state = threadState();
  if (!state.contextService) state.contextService = serviceFactory().makeContextService();
  return *state.contextService;
}

}  // namespace zsupport
