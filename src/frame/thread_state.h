// All module state of the library: one struct per thread, empty at the thread's first use of the
// library and discarded when the thread ends. Nothing in it is shared, so nothing is locked.
#pragma once

#include <windows.h>

#include <memory>
#include <string>

#include "ZSupport.h"
#include "automation/com_ptr.h"
#include "companion/trace_service.h"

namespace zsupport {

struct ThreadState {
  ThreadState();
  ~ThreadState();

  // What the run-time keeps for a thread that throws, and would otherwise make at the first throw.
  const void* const throwing;

  // mdlErrorHandling
  bool RaiseErrors = false;

  // mdlZTrace
  bool debugLevelLoaded = false;
  LONG DebugLevel = 0;
  // The trace service refers to the context service, so it goes first.
  std::unique_ptr<ContextService> contextService;
  std::unique_ptr<TraceService> traceService;

  // mdlGlobal, mdlSupport
  LONG LibraryReleaseType = 0;
  ComPtr<_GZSupport> SharedSupport;
  ComPtr<IDispatch> VBoost;
  std::wstring productName;
  HWND taggedWindow = nullptr;  // of the last search
};

// The calling thread's state, made on first use. Throws std::bad_alloc.
ThreadState& threadState();

// Process attach, thread detach, unloading. Not thread_local with a destructor: that pins
// the module and can hang the thread that ends last.
bool openThreadStates() noexcept;
void discardThreadState() noexcept;
void closeThreadStates() noexcept;

}  // namespace zsupport
