// The members of Zollection, and how they and its procedures name themselves in errors, those of
// its events among them.
#pragma once

#include "ZSupport.h"
#include "frame/member.h"

namespace zsupport {

inline constexpr MembersOf<_Zollection> kZollection = {L"Zollection"};

inline Procedure procedure(const wchar_t* label) { return kZollection.procedure(label); }

}  // namespace zsupport
