// A thread that reads until it is told to stop; its owner's end waits for it. What goes wrong in it
// ends it, and nothing else.
#pragma once

#include <windows.h>

#include <thread>

#include "handle.h"

namespace monitor {

class ReaderThread {
 public:
  // body(HANDLE stop): waits for its news and for stop, and ends when that is signalled.
  template <class Body>
  explicit ReaderThread(Body body)
      : stop_(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
        thread_([body = std::move(body), stop = stop_.get()]() mutable {
          try {
            body(stop);
          } catch (...) {
            // Who has words for it says them inside.
          }
        }) {}
  ReaderThread(const ReaderThread&) = delete;
  ReaderThread& operator=(const ReaderThread&) = delete;
  ~ReaderThread() {
    SetEvent(stop_.get());
    thread_.join();
  }

 private:
  const Handle stop_;
  std::thread thread_;
};

}  // namespace monitor
