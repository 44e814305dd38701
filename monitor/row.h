// One line of a list: its cells, and what kind of thing it tells of. The first cells stand in the
// list's columns; those behind them are seen in the details only.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace monitor {

enum class Kind : unsigned char {
  kPlain,
  kEvent,
  kInformation,  // something was done or noted
  kError,
  kRunTimeError,
  kDamaged,  // not what was expected there
};

class Row {
 public:
  Row(Kind kind, std::initializer_list<std::wstring_view> cells) : kind_(kind) {
    for (const std::wstring_view cell : cells) append(cell);
  }

  Kind kind() const { return kind_; }

  // Empty behind the last.
  std::wstring_view cell(size_t number) const {
    size_t start = 0;
    for (; number > 0; --number) {
      start = text_.find(kEnd, start) + 1;
      if (start == 0) return {};
    }
    const size_t end = text_.find(kEnd, start);
    return end == text_.npos ? std::wstring_view()
                             : std::wstring_view(text_).substr(start, end - start);
  }

  // All cells, parted in a way that no search finds.
  const std::wstring& text() const { return text_; }

 private:
  static constexpr wchar_t kEnd = 0xFFFF;  // no character

  void append(std::wstring_view cell) {
    const size_t start = text_.size();
    text_ += cell;
    for (size_t i = start; i < text_.size(); ++i) {
      if (text_[i] == kEnd) text_[i] = 0xFFFD;
    }
    text_ += kEnd;
  }

  std::wstring text_;
  Kind kind_;
};

}  // namespace monitor
