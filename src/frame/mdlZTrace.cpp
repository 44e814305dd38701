#include "frame/mdlZTrace.h"

#include "automation/module.h"
#include "frame/mdlSupport.h"
#include "frame/thread_state.h"

namespace zsupport {

void EnsureTrace() {
  ThreadState& state = threadState();
  if (state.traceService) return;
  state.traceService = serviceFactory().makeTraceService();
  state.traceService->AppTitle(versionText(L"FileDescription"));
  state.traceService->AppVersion(AppVersionStamp());
  state.traceService->ContextService(&contextService());
}

ContextService& contextService() {
  ThreadState& state = threadState();
  if (!state.contextService) state.contextService = serviceFactory().makeContextService();
  return *state.contextService;
}

}  // namespace zsupport
