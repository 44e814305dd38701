// The helper object of a thread: identity, and nothing more. It has no members.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include "automation/com_ptr.h"

namespace zsupport {

ComPtr<IDispatch> createVBoost();

}  // namespace zsupport
