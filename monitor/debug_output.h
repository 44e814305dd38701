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
  explicit DebugOutput(Feed& feed);

  // Every line, not only the library's.
  void setAllPrograms(bool all) { allPrograms_ = all; }

  // False when somebody else owned that of this session.
  bool isListening() const { return isListening_; }

 private:
  std::atomic<bool> allPrograms_{false}, isListening_{true};
  ReaderThread thread_;
};

}  // namespace monitor
