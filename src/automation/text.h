// Automation text: a counted wide string that may be null, which means empty.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <cstring>
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
  static Text attach(BSTR owned) {
    Text result;
    result.text_ = owned;
    return result;
  }
  Text(Text&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
  Text& operator=(Text other) noexcept {
    std::swap(text_, other.text_);
    return *this;
  }
  ~Text() {
    if (text_) SysFreeString(text_);
  }

  BSTR get() const { return text_; }
  std::wstring_view view() const { return viewOf(text_); }

  // For out and by-reference parameters.
  BSTR* inout() { return &text_; }
  BSTR detach() { return std::exchange(text_, nullptr); }

 private:
  BSTR text_ = nullptr;
};

// A text for somebody who only reads it: borrowed, or a copy of its own, which needs no memory when
// it is short. That one has the form that the platform's texts have, the number of its bytes in
// front and a zero behind, so the platform takes it for one of its own; only free it nobody may.
class TextCopy {
 public:
  TextCopy() = default;
  TextCopy(const TextCopy&) = delete;
  TextCopy& operator=(const TextCopy&) = delete;

  BSTR& get() { return text_; }
  void borrow(BSTR text) { text_ = text; }
  HRESULT assign(BSTR source) {
    const UINT bytes = SysStringByteLen(source);
    if (!source) {
      text_ = nullptr;
    } else if (bytes <= sizeof short_.characters - sizeof(OLECHAR)) {
      short_.bytes = bytes;
      std::memcpy(short_.characters, source, bytes + sizeof(OLECHAR));
      text_ = short_.characters;
    } else {
      long_ = Text::attach(SysAllocStringByteLen(reinterpret_cast<const char*>(source), bytes));
      text_ = long_.get();
      if (!text_) return E_OUTOFMEMORY;
    }
    return S_OK;
  }
  void reset() {
    text_ = nullptr;
    long_ = {};
  }

 private:
  static constexpr size_t kShort = 64;

  BSTR text_ = nullptr;
  struct {
    UINT bytes;
    OLECHAR characters[kShort];
  } short_;
  Text long_;
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
