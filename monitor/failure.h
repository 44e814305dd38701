// What goes wrong becomes a line of text for the person who watches: it stands in the status bar,
// and no dialog asks to be closed.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <string>

namespace monitor {

struct Failure {
  std::wstring text;
};

// The system's own words for an error number or an HRESULT, or else the number.
std::wstring systemText(DWORD error);

// What the last failed call on this thread's automation objects told, or else systemText. Before
// calls whose failure is told, those that were not are forgotten.
inline void forgetErrors() { SetErrorInfo(0, nullptr); }
std::wstring automationText(HRESULT result);

// Throws what automationText tells, behind the words for what was tried.
void require(HRESULT result, const std::wstring& what);

// The exception in flight as a line. Inside a handler only.
std::wstring failureText();

}  // namespace monitor
