// An exception of another language's run-time, as far as COM objects in between see it: a
// structured exception, for which somebody further out unwinds the stack.
#pragma once

#include <windows.h>

#include "automation/thread_block.h"

class ForeignException {
 public:
  [[noreturn]] static void raise() {
    RaiseException(kCode, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    __builtin_unreachable();
  }

  // Runs the body; whether it was left by that exception.
  template <class Body>
  [[gnu::noinline]] static bool leaves(Body&& body) {
    Frame frame = {zsupport::threadBlock().ExceptionList, handle, {}};
    if (__builtin_setjmp(frame.back)) {
      zsupport::threadBlock().ExceptionList = frame.next;
      return true;
    }
    zsupport::threadBlock().ExceptionList =
        reinterpret_cast<_EXCEPTION_REGISTRATION_RECORD*>(&frame);
    body();
    zsupport::threadBlock().ExceptionList = frame.next;
    return false;
  }

 private:
  static constexpr DWORD kCode = 0x0EEDFADE;

  struct Frame {
    _EXCEPTION_REGISTRATION_RECORD* next;
    EXCEPTION_DISPOSITION (*handler)(EXCEPTION_RECORD*, void*, CONTEXT*, void*);
    void* back[5];
  };

  static EXCEPTION_DISPOSITION handle(EXCEPTION_RECORD* exception, void* frame, CONTEXT*, void*) {
    constexpr DWORD kUnwinding = 0x2 | 0x4;
    if (exception->ExceptionCode != kCode || (exception->ExceptionFlags & kUnwinding)) {
      return ExceptionContinueSearch;
    }
    RtlUnwind(frame, nullptr, exception, nullptr);
    __builtin_longjmp(static_cast<Frame*>(frame)->back, 1);
  }
};
