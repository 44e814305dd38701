#include "frame/thread_state.h"

#include <cxxabi.h>
#include <new>

#include "automation/module.h"
#include "frame/vboost.h"

namespace zsupport {
namespace {

DWORD slot = TLS_OUT_OF_INDEXES;

}  // namespace

// The library's own objects are no reason to stay loaded: they are taken out of the count while
// they are kept here.
ThreadState::ThreadState() : throwing(abi::__cxa_get_globals()), VBoost(createVBoost()) {
  holdModule(false);
}

ThreadState::~ThreadState() {
  holdModule(true);
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

void closeThreadStates() noexcept {
  discardThreadState();
  TlsFree(slot);
  slot = TLS_OUT_OF_INDEXES;
}

}  // namespace zsupport
