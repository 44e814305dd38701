// Structured exceptions that pass through.
//
// Foreign code that we call, a handler above all, may leave by a structured exception of its own
// language's run-time, for a handler in foreign code further up. Unwinding then jumps over our
// frames, and nothing in them is destroyed. So whoever counts or holds something across such a call
// says how it is given back; the exception goes on to whom it belongs.
#pragma once

#include <windows.h>

#include <type_traits>

namespace zsupport {

// A frame in the thread's chain of exception handlers, innermost first, which every unwinding on
// this platform walks. It handles nothing and only takes note of being unwound.
class UnwindFrame {
 public:
  using GiveBack = void (*)(const void* context) noexcept;
  UnwindFrame(GiveBack giveBack, const void* context);
  UnwindFrame(const UnwindFrame&) = delete;
  UnwindFrame& operator=(const UnwindFrame&) = delete;
  ~UnwindFrame();

 private:
  // What the platform knows of a frame: it comes first.
  _EXCEPTION_REGISTRATION_RECORD* next_;
  void* handler_;

  GiveBack giveBack_;
  const void* context_;
};

// Runs the body; runs giveBack, which must not throw, when a structured exception passes through
// it. (When the body returns or throws, destructors do that work.) Not inlined, so that the frames
// of nested calls stand on the stack in the order of the chain.
template <class Body, class GiveBack>
[[gnu::noinline]] auto passingExceptions(Body&& body, GiveBack&& giveBack) -> decltype(body()) {
  using Action = std::remove_reference_t<GiveBack>;
  const UnwindFrame frame(
      [](const void* action) noexcept { (*static_cast<const Action*>(action))(); }, &giveBack);
  return body();
}

}  // namespace zsupport
