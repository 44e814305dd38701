#include "command_line.h"

#include <string_view>

#include "failure.h"
#include "log_paths.h"

namespace monitor {

const wchar_t kUsage[] =
    L"usage: ZSupportMonitor [OPTION]...\n"
    L"Shows the errors and traces of the library as they come, or the events of any object.\n"
    L"\n"
    L"  --log FILE        the records of this log file alone\n"
    L"  --all             debug output of other programs, too\n"
    L"  --events CLASS    the events of a new object; may be given several times\n"
    L"  --running NAME    the events of a running object: its class, or its registered name\n"
    L"  --set NAME=VALUE  sets a property of the object named last: 5, \"text\", True, "
    L"#2026-01-31#\n"
    L"  --ids             numbers of events instead of their names\n"
    L"  --text            prints to the console instead of opening a window, until Ctrl+C\n"
    L"  --seconds NUMBER  with --text: ends after this time; 0 prints what there is\n"
    L"  --help, --version\n"
    L"\n"
    L"Exit code: 0 done, 1 failed, 2 an option that is not known or not complete.\n";

namespace {

unsigned secondsOf(const std::wstring& text) {
  if (text.empty() || text.size() > 6 || text.find_first_not_of(L"0123456789") != text.npos) {
    throw Failure{L"--seconds needs a number of seconds, not \"" + text + L"\""};
  }
  return static_cast<unsigned>(std::stoul(text));
}

WatchedObject::Assignment assignmentOf(const std::wstring& text) {
  const size_t equals = text.find(L'=');
  if (equals == 0 || equals == text.npos) {
    throw Failure{L"--set needs NAME=VALUE, not \"" + text + L"\""};
  }
  return {text.substr(0, equals), text.substr(equals + 1)};
}

class Parser {
 public:
  Parser(int count, const wchar_t* const* arguments) : next_(arguments), end_(arguments + count) {}

  CommandLine parse() {
    while (next_ != end_) option(*next_++);
    if (result_.seconds && !result_.text) throw Failure{L"--seconds goes with --text"};
    if (result_.text && !result_.log.empty() && !result_.objects.empty()) {
      throw Failure{L"--text shows a log or events, not both"};
    }
    return std::move(result_);
  }

 private:
  void option(std::wstring_view name) {
    if (name == L"--help" || name == L"-h" || name == L"/?") {
      result_.help = true;
    } else if (name == L"--version") {
      result_.version = true;
    } else if (name == L"--text") {
      result_.text = true;
    } else if (name == L"--all") {
      result_.allPrograms = true;
    } else if (name == L"--ids") {
      result_.ids = true;
    } else {
      optionWithValue(std::wstring(name));
    }
  }

  void optionWithValue(const std::wstring& name) {
    if (name == L"--log") {
      result_.log = fullPath(valueOf(name));
    } else if (name == L"--events" || name == L"--running") {
      result_.objects.push_back({valueOf(name), name == L"--running", {}});
    } else if (name == L"--seconds") {
      result_.seconds = secondsOf(valueOf(name));
    } else if (name == L"--set") {
      if (result_.objects.empty()) throw Failure{L"--set goes behind --events or --running"};
      result_.objects.back().assignments.push_back(assignmentOf(valueOf(name)));
    } else {
      throw Failure{L"unknown option " + name};
    }
  }

  std::wstring valueOf(const std::wstring& option) {
    if (next_ == end_ || !**next_) throw Failure{option + L" needs a value"};
    return *next_++;
  }

  const wchar_t* const* next_;
  const wchar_t* const* const end_;
  CommandLine result_;
};

}  // namespace

CommandLine parseCommandLine(int count, const wchar_t* const* arguments) {
  return Parser(count, arguments).parse();
}

}  // namespace monitor
