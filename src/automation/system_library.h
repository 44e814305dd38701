// Libraries of Windows that few calls need. Each is loaded when it is first needed, and from the
// system folder: neither does every program's start pay for them, nor is a file of the same name
// beside a program taken for one.
#pragma once

#include <windows.h>

#include <atomic>

namespace zsupport {

// Of static storage; never freed, as threads of the library may outlive the call.
class SystemLibrary {
 public:
  explicit constexpr SystemLibrary(const wchar_t* fileName) : fileName_(fileName) {}
  SystemLibrary(const SystemLibrary&) = delete;
  SystemLibrary& operator=(const SystemLibrary&) = delete;

  // One of its functions, as in: kShell.find<decltype(PathAppendA)>("PathAppendA"). Null when the
  // system has no such library or function.
  template <class Function>
  Function* find(const char* name) {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(address(name)));
  }
  // The same; throws instead.
  template <class Function>
  Function& get(const char* name) {
    if (Function* const function = find<Function>(name)) return *function;
    throwMissing();
  }

 private:
  FARPROC address(const char* name);
  [[noreturn]] static void throwMissing();

  const wchar_t* const fileName_;
  std::atomic<HMODULE> module_{nullptr};
};

}  // namespace zsupport
