// The type library that the module carries.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include "automation/com_ptr.h"

namespace zsupport {

// The library itself; throws when it cannot be loaded.
ITypeLib* typeLibrary();

// The description of one of its interfaces or classes.
ComPtr<ITypeInfo> typeInfoOf(REFGUID id);

// The description of one of its records, by which the platform makes and copies them.
ComPtr<IRecordInfo> recordInfoOf(REFGUID id);

}  // namespace zsupport
