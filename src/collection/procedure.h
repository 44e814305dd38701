// How the procedures of the collection name themselves in errors.
#pragma once

#include "frame/mdlErrorHandling.h"

namespace zsupport {

inline constexpr wchar_t kZollection[] = L"Zollection";

inline Procedure procedure(const wchar_t* procName) { return {kZollection, procName}; }

}  // namespace zsupport
