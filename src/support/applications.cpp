// GZSupport: finding other applications, by the tag on their window or among the running objects,
// and sending to them.
#include <windows.h>

#include <string>

#include "automation/ansi.h"
#include "automation/foreign_object.h"
#include "frame/mdlGlobal.h"
#include "frame/thread_state.h"
#include "support/gzsupport.h"
#include "support/member.h"
#include "support/window_handles.h"

namespace zsupport {
namespace {

HWND taggedWindow(std::wstring_view application) {
  const std::string property = toAnsi(std::wstring(application) + L"_APPLICATION");
  threadState().taggedWindow = nullptr;
  EnumWindows(EnumWindowsForTagProc, reinterpret_cast<LPARAM>(property.c_str()));
  return threadState().taggedWindow;
}

// Waits until the receiver has taken the text. An empty text goes as one zero byte.
void send(HWND window, std::wstring_view text, LONG number) {
  std::string bytes = text.empty() ? std::string(1, '\0') : toAnsi(text);
  COPYDATASTRUCT data = {static_cast<ULONG_PTR>(number), static_cast<DWORD>(bytes.size()),
                         bytes.data()};
  SendMessageA(window, WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&data));
}

// Empty when the class is unknown or its object cannot be made.
ComPtr<IDispatch> createIfPossible(const std::wstring& className) {
  try {
    return createObject(className);
  } catch (const Error&) {
    return {};
  }
}

ComPtr<IDispatch> findOrCreate(const std::wstring& className, bool alwaysRunning,
                               bool createIfNotRunning) {
  const auto running = runningObject(className);
  if (running || !createIfNotRunning) return running;
  const auto created = createIfPossible(className);
  // The caller gets the registered object or none, never one that nobody else can find.
  return created && alwaysRunning ? runningObject(className) : created;
}

}  // namespace

HRESULT GZSupportObject::GetTaggedWindow2(BSTR application, LONG* window) {
  return kSupport.give(L"Function GetTaggedWindow2", {}, window,
                       [&] { return toHandle(taggedWindow(viewOf(application))); });
}

HRESULT GZSupportObject::SendData(LONG window, BSTR text, LONG number) {
  return kSupport.run(L"Sub SendData", {}, [&] { send(toWindow(window), viewOf(text), number); });
}

HRESULT GZSupportObject::GetROTObject(BSTR* className, VARIANT_BOOL* alwaysRunning,
                                      VARIANT_BOOL* createIfNotRunning, IDispatch** object) {
  return kSupport.give(
      L"Function GetROTObject", {className, alwaysRunning, createIfNotRunning}, object, [&] {
        return findOrCreate(std::wstring(viewOf(*className)), *alwaysRunning, *createIfNotRunning);
      });
}

}  // namespace zsupport
