// Memory that runs out in the midst of a call: what the loaded library imports for allocating is
// replaced in its import table, so that nothing else in the process notices.
#pragma once

// While it lives, on this thread, the n-th allocation of the library fails, and all later ones if
// memory stays away.
class FailingMemory {
 public:
  enum Course { kStaysAway, kComesBack };
  // Blocks of the C run-time that are smaller than the least size are given all the same.
  explicit FailingMemory(unsigned n, Course course = kStaysAway, unsigned leastSize = 0);
  FailingMemory(const FailingMemory&) = delete;
  FailingMemory& operator=(const FailingMemory&) = delete;
  ~FailingMemory();

  // Whether an allocation has been refused.
  static bool hasFailed();
};
