// The members of GZSupport, and how they name themselves in errors.
#pragma once

#include "ZSupport.h"
#include "frame/member.h"

namespace zsupport {

inline constexpr MembersOf<_GZSupport> kSupport = {L"GZSupport"};

}  // namespace zsupport
