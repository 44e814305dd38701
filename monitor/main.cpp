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

int run(const CommandLine& options, const Console& console) {
  if (options.help) {
    console.out(kUsage);
  } else if (options.version) {
    console.out(L"ZSupportMonitor " + programVersion() + L"\n");
  } else if (options.text) {
    return runText(options, console);
  } else {
    runWindow(options);
  }
  return 0;
}

int runProgram(int count, const wchar_t* const* arguments) {
  const Console console;
  CommandLine options;
  try {
    options = parseCommandLine(count, arguments);
  } catch (...) {
    console.err(L"ZSupportMonitor: " + failureText() + L"\n" + kUsage);
    return 2;
  }
  try {
    return run(options, console);
  } catch (...) {
    console.err(L"ZSupportMonitor: " + failureText() + L"\n");
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
