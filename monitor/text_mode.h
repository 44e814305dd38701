// What the views show, as lines of text for a console or a script.
#pragma once

#include <windows.h>

#include "command_line.h"

namespace monitor {

// Lines of UTF-8, or characters where the output is a console: the one of the program that started
// this one, where it has no output of its own.
class Console {
 public:
  Console();

  // False once it cannot be written to: there is none, or nobody reads it any more.
  bool isOpen() const { return isOpen_; }
  void out(const std::wstring& text) { write(out_, text); }
  void err(const std::wstring& text) { write(err_, text); }
  // For the last word of a program that was started by a click, in a message box.
  void tell(const std::wstring& text, bool isError);

 private:
  void write(HANDLE handle, const std::wstring& text);

  HANDLE out_, err_;
  bool isOpen_;
};

// Until the time is up, or as long as it can be written. The exit code.
int runText(const CommandLine& options, Console& console);

}  // namespace monitor
