// The entry points of the library.
//
// The module pins itself when it first hands a class out: each load and unload of a module with
// this compiler's run-time inside costs the process one of its TLS indexes, and after about a
// thousand the process dies. So a host may load and release the library as often as it likes, and
// DllCanUnloadNow tells the truth about living objects, but the code stays. An installer that only
// registers the library in its own process can unload it, and delete the file.
#include <windows.h>
#include <olectl.h>

#include <cwchar>

#include "automation/module.h"
#include "frame/mdlGlobal.h"
#include "frame/thread_state.h"
#include "server/class_factory.h"
#include "server/registration.h"
#include "support/gzsupport.h"

using zsupport::RegistrationScope;

namespace {

void pinModule() {
  HMODULE pinned;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                     reinterpret_cast<LPCWSTR>(&pinModule), &pinned);
}

}  // namespace

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void* processEnds) {
  switch (reason) {
    case DLL_PROCESS_ATTACH:
      zsupport::setSupportFactory(zsupport::createSupportObject);
      return zsupport::openThreadStates();
    case DLL_THREAD_DETACH:
      zsupport::discardThreadState();
      return TRUE;
    case DLL_PROCESS_DETACH:
      // At process end other modules may be gone; the system takes everything back.
      if (!processEnds) zsupport::closeThreadStates();
      return TRUE;
    default:
      return TRUE;
  }
}

STDAPI DllGetClassObject(REFCLSID classId, REFIID interfaceId, void** factory) {
  const HRESULT result = zsupport::getClassFactory(classId, interfaceId, factory);
  if (result == S_OK) pinModule();
  return result;
}

STDAPI DllCanUnloadNow() { return zsupport::liveObjects() == 0 ? S_OK : S_FALSE; }

STDAPI DllRegisterServer() { return zsupport::registerServer(RegistrationScope::kMachine); }

STDAPI DllUnregisterServer() { return zsupport::unregisterServer(RegistrationScope::kMachine); }

// regsvr32 /n /i:user: for the current user alone. Without "user", for the machine.
STDAPI DllInstall(BOOL install, LPCWSTR commandLine) {
  const bool forUser = commandLine && _wcsicmp(commandLine, L"user") == 0;
  if (commandLine && *commandLine && !forUser) return E_INVALIDARG;
  const auto scope = forUser ? RegistrationScope::kCurrentUser : RegistrationScope::kMachine;
  return install ? zsupport::registerServer(scope) : zsupport::unregisterServer(scope);
}
