// What the loaded library knows about itself.
#pragma once

#include <windows.h>

#include <string>

namespace zsupport {

// The file that holds this code: its resources are the type library and the version.
HINSTANCE moduleHandle();

// Full path of that file.
std::wstring modulePath();

// Objects of the library that are alive in this process.
LONG liveObjects();

// A host's wish that the library stays (IClassFactory::LockServer); counts like an object.
void holdModule(bool hold);

// One per object; a class derives from it or holds it.
class LiveObject {
 protected:
  LiveObject();
  ~LiveObject();
  LiveObject(const LiveObject&) = delete;
  LiveObject& operator=(const LiveObject&) = delete;
};

// A text of the version resource, such as "ProductName"; empty when it has none. Part of the image.
const wchar_t* versionText(const wchar_t* name);

// Major, minor, revision (the fourth number is the build's and not used).
struct ModuleVersion {
  LONG major;
  LONG minor;
  LONG revision;
};
ModuleVersion moduleVersion();

}  // namespace zsupport
