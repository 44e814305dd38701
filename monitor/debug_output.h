// What programs write with OutputDebugString, as long as no debugger has them: a page of memory and
// two events, which one listener at a time may own. Programs of this session are heard, and with an
// administrator's rights services, too.
#pragma once

#include <atomic>

#include "feed.h"
#include "reader_thread.h"

namespace monitor {

class DebugOutput {
 public:
  // Of all programs: every line, not only the library's.
  DebugOutput(Feed& feed, bool allPrograms);
  void setAllPrograms(bool all) { allPrograms_ = all; }

  // False when somebody else owned that of this session.
  bool isListening() const { return isListening_; }

 private:
  std::atomic<bool> allPrograms_, isListening_{true};
  ReaderThread thread_;
};

}  // namespace monitor
