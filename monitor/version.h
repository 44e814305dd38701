// Which program this is, where it is, and which library it uses.
#pragma once

#include <string>

namespace monitor {

std::wstring programFolder();   // with a backslash at its end
std::wstring programVersion();  // 1.0.0
std::wstring aboutText();

}  // namespace monitor
