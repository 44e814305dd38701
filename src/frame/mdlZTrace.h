// mdlZTrace: the thread's trace and error-log service.
#pragma once

#include "companion/trace_service.h"

namespace zsupport {

// Makes and sets up the thread's trace service unless it has one.
void EnsureTrace();

// The thread's context-text service, made on first use.
ContextService& contextService();

}  // namespace zsupport
