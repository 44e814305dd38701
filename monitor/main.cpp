#include <windows.h>

#include <cstdio>

#include "command_line.h"
#include "failure.h"

int APIENTRY wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
  try {
    monitor::parseCommandLine(__argc - 1, __wargv + 1);
  } catch (...) {
    return 2;
  }
  return 0;
}
