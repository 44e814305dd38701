// Another application, in a process of its own: the test program, started once more.
#pragma once

#include <windows.h>

#include "ZSupport.h"

// Asks its window for the sum of the last WM_COPYDATA.
inline constexpr UINT kAskChecksum = WM_APP;

// Of its windows, these are tagged: "zsuOne" one with 1, "zsuTwo" one with 2, "zsuBoth" two with 1.
// A Zollection of its own with three items is in the running-object table.
// Ends with its parent, or when its thread is told to quit.
int runNeighbour(DWORD parent);

class Neighbour {
 public:
  Neighbour();
  Neighbour(const Neighbour&) = delete;
  Neighbour& operator=(const Neighbour&) = delete;
  ~Neighbour();

 private:
  HANDLE process_;
  DWORD thread_ = 0;
};

// The sum that a neighbour makes of what it gets from no window.
DWORD checksumOf(const void* bytes, size_t size, LONG number);
