// What the monitor is told when it is started.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace monitor {

// An object to watch, and the properties that are set once it is heard.
struct WatchedObject {
  std::wstring name;  // of its class, or in the table of running objects
  bool isRunning = false;
  struct Assignment {
    std::wstring property;
    std::wstring value;  // as literals.h reads it
  };
  std::vector<Assignment> assignments;
};

struct CommandLine {
  bool help = false;
  bool version = false;
  bool text = false;
  bool allPrograms = false;
  bool ids = false;
  std::wstring log;  // empty: the library's own
  std::vector<WatchedObject> objects;
  std::optional<unsigned> seconds;
};

extern const wchar_t kUsage[];

// Throws a Failure on what it does not know.
CommandLine parseCommandLine(int count, const wchar_t* const* arguments);

}  // namespace monitor
