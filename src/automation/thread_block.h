// The platform's block of the calling thread: its stack and its chain of exception handlers.
#pragma once

#include <windows.h>

namespace zsupport {

// As NtCurrentTeb has it, whose own definition the compiler takes for an access through null.
inline NT_TIB& threadBlock() {
  NT_TIB* block;
  asm("movl %%fs:0x18, %0" : "=r"(block));
  return *block;
}

}  // namespace zsupport
