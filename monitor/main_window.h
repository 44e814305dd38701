// The main window: two views, one at a time, a menu and a status bar.
#pragma once

#include "command_line.h"

namespace monitor {

// Shows it and returns when it has been closed.
void runWindow(const CommandLine& options);

}  // namespace monitor
