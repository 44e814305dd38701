// Follows log files from a thread of its own: reads what is there, and then waits for the system to
// tell of changes in their folders.
#pragma once

#include <vector>

#include "feed.h"
#include "log_paths.h"
#include "reader_thread.h"

namespace monitor {

class LogWatch {
 public:
  // At most some sixty files: what one wait can wait for.
  LogWatch(std::vector<LogPath> paths, Feed& feed);

  // Everything that was there at first has been handed over.
  bool hasReadFirst() const { return WaitForSingleObject(hasReadFirst_.get(), 0) == WAIT_OBJECT_0; }

 private:
  const Handle hasReadFirst_;
  ReaderThread thread_;
};

}  // namespace monitor
