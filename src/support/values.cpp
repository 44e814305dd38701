// GZSupport: comparing values and dates, spans of time, features to come, and the helper object.
#include <windows.h>

#include <string>

#include "automation/error.h"
#include "automation/runtime_rules.h"
#include "automation/variant.h"
#include "frame/thread_state.h"
#include "support/gzsupport.h"
#include "support/member.h"

namespace zsupport {
namespace {

bool isEqualVariant(const VARIANT& left, const VARIANT& right) {
  // Copies: reading an object's value runs code that may take the other one away.
  Variant leftCopy, rightCopy;
  copyDereferenced(leftCopy, left);
  copyDereferenced(rightCopy, right);
  const VARIANT& a = leftCopy.get();
  const VARIANT& b = rightCopy.get();
  for (const VARTYPE type : {VT_NULL, VT_EMPTY}) {
    if (typeOf(a) == type || typeOf(b) == type) return typeOf(a) == typeOf(b);
  }
  const auto equal = compareEqual(a, b);
  if (!equal) throw makeError(runtime::kTypeMismatch);
  return *equal;
}

double multipleOf(DATE span, DATE unit) {
  constexpr double kSecondsADay = 86'400;
  const LONG spanSeconds = toWholeNumber(span * kSecondsADay);
  const LONG unitSeconds = toWholeNumber(unit * kSecondsADay);
  return unitSeconds == 0 ? 0 : static_cast<double>(spanSeconds) / unitSeconds;
}

// Of the clipboard while it is open: without an owner it would refuse to keep anything.
class ClipboardOwner {
 public:
  ClipboardOwner()
      : window_(CreateWindowExW(0, L"STATIC", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                nullptr, nullptr)),
        isOpen_(OpenClipboard(window_)) {}
  ClipboardOwner(const ClipboardOwner&) = delete;
  ClipboardOwner& operator=(const ClipboardOwner&) = delete;
  ~ClipboardOwner() {
    if (isOpen_) CloseClipboard();
    if (window_) DestroyWindow(window_);
  }
  bool isOpen() const { return isOpen_; }

 private:
  const HWND window_;
  const bool isOpen_;
};

// A clipboard that another program holds just now is left alone.
void copyToClipboard(std::wstring_view text) {
  const ClipboardOwner owner;
  if (!owner.isOpen()) return;
  const size_t size = (text.size() + 1) * sizeof(wchar_t);
  const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, size);
  if (!memory) throw makeError(runtime::kOutOfMemory);
  auto* const copy = static_cast<wchar_t*>(GlobalLock(memory));
  copy[text.copy(copy, text.size())] = L'\0';
  GlobalUnlock(memory);
  EmptyClipboard();
  if (!SetClipboardData(CF_UNICODETEXT, memory)) GlobalFree(memory);
}

}  // namespace

HRESULT GZSupportObject::IsEqualVariant(VARIANT* left, VARIANT* right, VARIANT_BOOL* equal) {
  return kSupport.give(L"Function IsEqualVariant", {left, right}, equal,
                       [&] { return isEqualVariant(*left, *right); });
}

HRESULT GZSupportObject::IsEqualDate(DATE* left, DATE* right, VARIANT_BOOL* equal) {
  return kSupport.give(L"Function IsEqualDate", {left, right}, equal,
                       [&] { return wholeSeconds(*left) == wholeSeconds(*right); });
}

HRESULT GZSupportObject::DateMultiple(DATE* span, DATE* unit, double* multiple) {
  return kSupport.give(L"Function DateMultiple", {span, unit}, multiple,
                       [&] { return multipleOf(*span, *unit); });
}

HRESULT GZSupportObject::NotImplemented(BSTR* feature, BSTR* message) {
  return kSupport.run(L"Sub NotImplemented", {feature, message}, [&] {
    const std::wstring whole =
        std::wstring(viewOf(*message)) + L" - " + std::wstring(viewOf(*feature));
    assign(message, whole);
    copyToClipboard(whole);
    HandleError(L"Not Implemented", whole.c_str(), true, 0);
    MessageBoxW(GetActiveWindow(), whole.c_str(), L"", MB_ICONINFORMATION);
  });
}

HRESULT GZSupportObject::get_VBoost(IDispatch** helper) {
  return atBoundary(__uuidof(_GZSupport), {helper}, [&] {
    *helper = nullptr;
    *helper = ComPtr<IDispatch>(threadState().VBoost).detach();
  });
}

}  // namespace zsupport
