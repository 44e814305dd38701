// Automation text: a counted wide string that may be null, which means empty.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <new>
#include <string_view>
#include <utility>

namespace zsupport {

inline std::wstring_view viewOf(BSTR text) {
  return text ? std::wstring_view(text, SysStringLen(text)) : std::wstring_view();
}

// Owner of one BSTR.
class Text {
 public:
  Text() = default;
  explicit Text(std::wstring_view content)
      : text_(SysAllocStringLen(content.data(), static_cast<UINT>(content.size()))) {
    if (!text_) throw std::bad_alloc();
  }
  Text(Text&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
  Text& operator=(Text other) noexcept {
    std::swap(text_, other.text_);
    return *this;
  }
  ~Text() { SysFreeString(text_); }

  BSTR get() const { return text_; }
  std::wstring_view view() const { return viewOf(text_); }

  // For out and by-reference parameters.
  BSTR* inout() { return &text_; }
  BSTR detach() { return std::exchange(text_, nullptr); }

 private:
  BSTR text_ = nullptr;
};

// Puts a text into a by-reference parameter.
inline void assign(BSTR* place, std::wstring_view content) {
  Text fresh(content);
  std::swap(*place, *fresh.inout());
}

// Same text to a reader of the user's language, letter case ignored.
inline bool sameTextIgnoringCase(BSTR a, BSTR b) {
  // VarBstrCmp wants real strings; a null BSTR is the empty one.
  if (viewOf(a).empty() || viewOf(b).empty()) return viewOf(a).empty() && viewOf(b).empty();
  return VarBstrCmp(a, b, LOCALE_USER_DEFAULT, NORM_IGNORECASE) == static_cast<HRESULT>(VARCMP_EQ);
}

}  // namespace zsupport
