// One factory class for all creatable classes.
#pragma once

#include <windows.h>

namespace zsupport {

// A factory for the class, asked for the given interface.
HRESULT getClassFactory(REFCLSID classId, REFIID interfaceId, void** factory) noexcept;

}  // namespace zsupport
