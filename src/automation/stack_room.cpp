#include "automation/stack_room.h"

#include <windows.h>

#include <algorithm>

#include "automation/thread_block.h"

namespace zsupport {

bool hasStackRoom() noexcept {
  constexpr ULONG_PTR kRoom = 128 * 1024;
  const auto here = reinterpret_cast<ULONG_PTR>(__builtin_frame_address(0));
  const NT_TIB& thread = threadBlock();
  // What has been used once is known without asking.
  if (here - reinterpret_cast<ULONG_PTR>(thread.StackLimit) > kRoom) return true;
  MEMORY_BASIC_INFORMATION stack{};
  if (!VirtualQuery(__builtin_frame_address(0), &stack, sizeof stack)) return true;
  const auto end = reinterpret_cast<ULONG_PTR>(stack.AllocationBase);
  const auto size = reinterpret_cast<ULONG_PTR>(thread.StackBase) - end;
  return here - end > std::min(kRoom, size / 4);
}

}  // namespace zsupport
