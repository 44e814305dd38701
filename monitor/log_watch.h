// Follows log files from a thread of its own: reads what is there, and then waits for the system to
// tell of changes in their folders.
#pragma once

#include <string>
#include <vector>

#include "feed.h"
#include "reader_thread.h"

namespace monitor {

class LogWatch {
 public:
  // At most some sixty files: what one wait can wait for.
  LogWatch(std::vector<std::wstring> paths, Feed& feed);

  // Until everything that was there at first has been handed over.
  void waitForFirst() const { WaitForSingleObject(hasReadFirst_.get(), INFINITE); }

 private:
  const Handle hasReadFirst_;
  ReaderThread thread_;
};

// The files that the library writes on this machine as far as they can be known: the one of its
// LogFile setting, the default one that it falls back on, and those of other users that can be
// read.
std::vector<std::wstring> libraryLogs();

}  // namespace monitor
