// What the views show, as lines of text for a console or a script.
#pragma once

#include <windows.h>

#include "command_line.h"

namespace monitor {

// Lines of UTF-8, or characters where the output is a console. Where there is no output at all, as
// for a program that was started by a click, a message box shows them.
class Console {
 public:
  Console();
  void out(const std::wstring& text) const;
  void err(const std::wstring& text) const;

 private:
  static void write(HANDLE handle, const std::wstring& text);

  const HANDLE out_, err_;
};

// Until the time is up, or for ever. The exit code.
int runText(const CommandLine& options, const Console& console);

}  // namespace monitor
