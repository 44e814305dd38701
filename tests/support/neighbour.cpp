#include "support/neighbour.h"

#include <oleauto.h>

#include "support/com.h"
#include "support/files.h"

namespace {

constexpr wchar_t kReady[] = L"zsupport-tests-neighbour-ready";

DWORD checksum = 0;

LRESULT CALLBACK onMessage(HWND window, UINT message, WPARAM sender, LPARAM content) {
  if (message == kAskChecksum) return static_cast<LRESULT>(checksum);
  if (message != WM_COPYDATA) return DefWindowProcW(window, message, sender, content);
  const auto& data = *reinterpret_cast<const COPYDATASTRUCT*>(content);
  checksum = sender ? 0 : checksumOf(data.lpData, data.cbData, static_cast<LONG>(data.dwData));
  return TRUE;
}

void tagWindow(const wchar_t* property, LONG_PTR value) {
  const HWND window = CreateWindowExW(0, L"zsupport-neighbour", L"", WS_POPUP, 0, 0, 9, 9, nullptr,
                                      nullptr, nullptr, nullptr);
  SetPropW(window, property, reinterpret_cast<HANDLE>(value));
}

}  // namespace

DWORD checksumOf(const void* bytes, size_t size, LONG number) {
  DWORD sum = 2166136261u + static_cast<DWORD>(number);
  for (size_t i = 0; i < size; ++i) sum = (sum ^ static_cast<const BYTE*>(bytes)[i]) * 16777619u;
  return sum & 0x7FFFFFFF;
}

int runNeighbour(DWORD parent) {
  const HANDLE parentProcess = OpenProcess(SYNCHRONIZE, FALSE, parent);
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  WNDCLASSW windowClass{};
  windowClass.lpfnWndProc = onMessage;
  windowClass.lpszClassName = L"zsupport-neighbour";
  RegisterClassW(&windowClass);
  tagWindow(L"zsuTwo_APPLICATION", 2);
  tagWindow(L"zsuOne_APPLICATION", 1);
  tagWindow(L"zsuBoth_APPLICATION", 1);
  tagWindow(L"zsuBoth_APPLICATION", 1);
  const auto z = newCollection();
  for (int i = 0; i < 3; ++i) add(z.get(), z.get(), {.sourceIID = kNoEvents});
  DWORD cookie = 0;
  RegisterActiveObject(z.get(), __uuidof(Zollection), ACTIVEOBJECT_STRONG, &cookie);
  const HANDLE ready = OpenEventW(EVENT_MODIFY_STATE, FALSE, kReady);
  SetEvent(ready);
  MSG message{};
  while (message.message != WM_QUIT &&
         MsgWaitForMultipleObjects(1, &parentProcess, FALSE, INFINITE, QS_ALLINPUT) ==
             WAIT_OBJECT_0 + 1) {
    while (message.message != WM_QUIT && PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
      DispatchMessageW(&message);
  }
  RevokeActiveObject(cookie, nullptr);
  return 0;
}

Neighbour::Neighbour() {
  const HANDLE ready = CreateEventW(nullptr, TRUE, FALSE, kReady);
  process_ = startSelf(L"neighbour " + std::to_wstring(GetCurrentProcessId()), &thread_);
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(ready, 20'000));
  CloseHandle(ready);
}

Neighbour::~Neighbour() {
  PostThreadMessageW(thread_, WM_QUIT, 0, 0);
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(process_, 20'000));
  CloseHandle(process_);
}
