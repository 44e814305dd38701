// What there is to choose from: classes that can be created and fire events, and objects that run.
#pragma once

#include <string>
#include <vector>

#include "com.h"

namespace monitor {

// The names of registered classes whose type libraries list an event interface, in order. Reads
// every registered type library that a class names: a second or two on a machine with many
// programs. Ends early when stop is signalled.
std::vector<std::wstring> eventSourceClasses(HANDLE stop);

struct RunningObject {
  std::wstring name;  // as it is registered: often a path, or an id behind an exclamation mark
  Ptr<IMoniker> moniker;
  Ptr<IUnknown> object() const;  // null when it has gone
};
std::vector<RunningObject> runningObjects();

}  // namespace monitor
