// What the views show, as lines of text for a console or a script.
#pragma once

#include "command_line.h"

namespace monitor {

// Lines of UTF-8, or characters where the output is a console.
class Console {
 public:
  Console();
  void out(const std::wstring& text) const;
  void err(const std::wstring& text) const;

 private:
  static void write(void* handle, const std::wstring& text);
  void *out_, *err_;
};

// Until the time is up, or for ever. The exit code.
int runText(const CommandLine& options, const Console& console);

}  // namespace monitor
