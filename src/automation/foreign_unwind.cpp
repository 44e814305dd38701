#include "automation/foreign_unwind.h"

#include "automation/thread_block.h"

namespace zsupport {
namespace {

constexpr DWORD kUnwinding = 0x2 | 0x4;  // EXCEPTION_UNWINDING, EXCEPTION_EXIT_UNWIND

}  // namespace

UnwindFrame::UnwindFrame(GiveBack giveBack, const void* context)
    : next_(threadBlock().ExceptionList), giveBack_(giveBack), context_(context) {
  static_assert(sizeof(UnwindFrame) == 16);
  using Handler = EXCEPTION_DISPOSITION(EXCEPTION_RECORD*, void*, CONTEXT*, void*);
  Handler* const handler = [](EXCEPTION_RECORD* exception, void* frame, CONTEXT*, void*) {
    if (exception->ExceptionFlags & kUnwinding) {
      const auto* const self = static_cast<const UnwindFrame*>(frame);
      self->giveBack_(self->context_);
    }
    return ExceptionContinueSearch;
  };
  handler_ = reinterpret_cast<void*>(handler);
  threadBlock().ExceptionList = reinterpret_cast<_EXCEPTION_REGISTRATION_RECORD*>(this);
}

UnwindFrame::~UnwindFrame() { threadBlock().ExceptionList = next_; }

}  // namespace zsupport
