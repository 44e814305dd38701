// How the procedures of Zollection name themselves in errors, those of its events among them.
#pragma once

#include "frame/mdlErrorHandling.h"

namespace zsupport {

inline constexpr wchar_t kZollection[] = L"Zollection";

inline Procedure procedure(const wchar_t* procName) { return {kZollection, procName}; }

}  // namespace zsupport
