#include "application.h"

#include <cstdio>
#include <cstdlib>
#include <objbase.h>

namespace {

constexpr wchar_t kWindowClass[] = L"ZSupport sample application";

void require(bool done, const wchar_t* what) {
  if (done) return;
  std::fwprintf(stderr, L"%ls failed\n", what);
  std::exit(1);
}

}  // namespace

Application::Application(const wchar_t* name) : name_(name), tag_(name_ + L"_APPLICATION") {
  require(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)), L"CoInitializeEx");
  require(SUCCEEDED(CoCreateInstance(__uuidof(GZSupport), nullptr, CLSCTX_INPROC_SERVER,
                                     __uuidof(_GZSupport), reinterpret_cast<void**>(&support_))),
          L"creating GZSupport");
  WNDCLASSW windowClass{};
  windowClass.lpfnWndProc = onWindowMessage;
  windowClass.lpszClassName = kWindowClass;
  RegisterClassW(&windowClass);
  // Top-level, or nobody finds it; but it need not be visible.
  window_ =
      CreateWindowW(kWindowClass, name, WS_POPUP, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
  require(window_ != nullptr, L"making a window");
  SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  // This is the tag: the value must be 1.
  require(SetPropW(window_, tag_.c_str(), reinterpret_cast<HANDLE>(1)), L"tagging the window");
}

Application::~Application() {
  RemovePropW(window_, tag_.c_str());
  DestroyWindow(window_);
  support_->Release();
  CoUninitialize();
}

LONG Application::find(const wchar_t* name, DWORD milliseconds) const {
  const BSTR application = SysAllocString(name);
  LONG window = 0;
  for (const DWORD start = GetTickCount(); GetTickCount() - start < milliseconds; Sleep(50)) {
    if (FAILED(support_->GetTaggedWindow2(application, &window)) || window) break;
  }
  SysFreeString(application);
  return window;
}

void Application::send(LONG window, LONG number, const std::wstring& text) const {
  const BSTR content = SysAllocString(text.c_str());
  support_->SendData(window, content, number);
  SysFreeString(content);
}

void Application::print(const std::string& line) const {
  std::printf("  %-9ls %s\n", name_.c_str(), line.c_str());
  std::fflush(stdout);
}

LRESULT CALLBACK Application::onWindowMessage(HWND window, UINT message, WPARAM first,
                                              LPARAM second) {
  const auto* const self =
      reinterpret_cast<const Application*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (message != WM_COPYDATA || !self || !self->onMessage) {
    return DefWindowProcW(window, message, first, second);
  }
  const auto& data = *reinterpret_cast<const COPYDATASTRUCT*>(second);
  // There is no zero at the end; but an empty text is one zero.
  std::string text(static_cast<const char*>(data.lpData), data.cbData);
  if (text == std::string(1, '\0')) text.clear();
  self->onMessage(static_cast<LONG>(data.dwData), text);
  return TRUE;
}
