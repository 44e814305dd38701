// How much of the calling thread's stack is left.
#pragma once

namespace zsupport {

// Whether there is room for another call into foreign code, and for recording an error after it:
// 128 KB, or a quarter of a small stack.
bool hasStackRoom() noexcept;

}  // namespace zsupport
