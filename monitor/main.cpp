// A window for the errors and traces of the library, and for the events of any object.
#include <windows.h>

#include <cstdlib>
#include <objbase.h>

#include "command_line.h"
#include "failure.h"
#include "main_window.h"
#include "text_mode.h"
#include "version.h"

namespace monitor {
namespace {

int run(const CommandLine& options) {
  if (options.help) {
    Console().tell(kUsage, false);
  } else if (options.version) {
    Console().tell(L"ZSupportMonitor " + programVersion() + L"\n", false);
  } else if (options.text) {
    Console console;
    return runText(options, console);
  } else {
    runWindow(options);  // which a console must not take along when it is closed
  }
  return 0;
}

int runProgram(int count, const wchar_t* const* arguments) {
  CommandLine options;
  try {
    options = parseCommandLine(count, arguments);
  } catch (...) {
    Console().tell(L"ZSupportMonitor: " + failureText() + L"\n" + kUsage, true);
    return 2;
  }
  try {
    return run(options);
  } catch (...) {
    Console().tell(L"ZSupportMonitor: " + failureText() + L"\n", true);
    return 1;
  }
}

}  // namespace
}  // namespace monitor

int APIENTRY wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
  if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 1;
  const int exitCode = monitor::runProgram(__argc - 1, __wargv + 1);
  CoUninitialize();
  return exitCode;
}
