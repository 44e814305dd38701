// The library as its client sees it: its classes, and the monitor's own settings, which it keeps.
#pragma once

#include <string>

#include "ZSupport.h"
#include "com.h"

namespace monitor {

// From the registration; where the library is not registered, from beside this program. Throws a
// Failure when it is in neither place.
Ptr<_GZSupport> createSupport();
Ptr<_Zollection> createCollection();

// Remembered for this user from one run to the next, below "Monitor" among the library's settings.
// Without the library nothing is remembered.
class Memory {
 public:
  Memory();
  std::wstring read(const std::wstring& name) const;
  void write(const std::wstring& name, const std::wstring& value) const;

 private:
  Ptr<_GZSupport> support_;
};

}  // namespace monitor
