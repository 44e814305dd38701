#include "frame/thread_state.h"

#include <new>

#include "automation/module.h"

namespace zsupport {
namespace {

DWORD slot = TLS_OUT_OF_INDEXES;

}  // namespace

ThreadState::~ThreadState() {
  if (SharedSupport) holdModule(true);  // see mdlGlobal.cpp
}

bool openThreadStates() noexcept {
  slot = TlsAlloc();
  return slot != TLS_OUT_OF_INDEXES;
}

ThreadState& threadState() {
  // Callers test GetLastError after their own calls; TlsGetValue resets it.
  const DWORD lastError = GetLastError();
  auto* state = static_cast<ThreadState*>(TlsGetValue(slot));
  SetLastError(lastError);
  if (state) return *state;

  auto fresh = std::make_unique<ThreadState>();
  if (!TlsSetValue(slot, fresh.get())) throw std::bad_alloc();
  return *fresh.release();
}

void discardThreadState() noexcept {
  if (slot == TLS_OUT_OF_INDEXES) return;
  delete static_cast<ThreadState*>(TlsGetValue(slot));
  TlsSetValue(slot, nullptr);
}

}  // namespace zsupport
