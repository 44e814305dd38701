// Records of the library, as its log file and its debug output have them: fields between tabs, with
// escapes for what would break a line.
#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <string_view>

#include "row.h"

namespace monitor {

enum TraceCell {
  kTime,
  kProgram,
  kProcess,
  kThread,
  kClass,
  kProcedure,
  kNumber,
  kSource,
  kDescription,
  kLibrary,  // not a column, like the next
  kContext,
};

// The program of a process that runs and did so at the time of a record. Asked for a batch at a
// time: processes come and go.
class Programs {
 public:
  // Empty when it is not known. recordTime: as a record has it; empty for now.
  std::wstring nameOf(DWORD process, std::wstring_view recordTime);

 private:
  struct Program {
    std::wstring name;
    std::wstring start;  // local, to be compared with times of records
  };
  std::map<DWORD, Program> known_;
};

// A time, and something behind a tab: one of the library's, whole or not.
bool beginsLikeRecord(std::wstring_view line);

// A line of a log file, or with no origin one of the debug output; what is not a record is shown as
// what it is.
Row rowOfLine(std::wstring_view line, bool isSound, const Origin& origin, Programs& programs);

// What another program wrote into the debug output.
Row rowOfDebugOutput(std::wstring_view text, DWORD process, Programs& programs);

// The labels that a failure has collected on its way to the caller, latest first, in words:
// "left Zollection::Sub Add, came from Zollection.Add".
std::wstring roadOf(std::wstring_view source);

}  // namespace monitor
