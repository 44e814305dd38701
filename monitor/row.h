// One line of a list: its cells, and what kind of thing it tells of. The first cells stand in the
// list's columns; those behind them are seen in the details only.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <memory>
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

// The file that rows were read from, one text for all of them; none for what came another way.
using Origin = std::shared_ptr<const std::wstring>;

class Row {
 public:
  static constexpr size_t kMostCells = 11;

  Row(Kind kind, std::initializer_list<std::wstring_view> cells, Origin origin = nullptr)
      : origin_(std::move(origin)), kind_(kind) {
    size_t number = 0;
    for (const std::wstring_view cell : cells) {
      text_ += cell;
      ends_[number++] = static_cast<uint32_t>(text_.size());
    }
    while (number < kMostCells) ends_[number++] = static_cast<uint32_t>(text_.size());
    text_.shrink_to_fit();
  }

  Kind kind() const { return kind_; }
  const Origin& origin() const { return origin_; }
  size_t size() const { return text_.size(); }

  // Empty where none was given.
  std::wstring_view cell(size_t number) const {
    const size_t start = number > 0 ? ends_[number - 1] : 0;
    return std::wstring_view(text_).substr(start, ends_[number] - start);
  }

 private:
  std::wstring text_;
  std::array<uint32_t, kMostCells> ends_{};
  Origin origin_;
  Kind kind_;
};

}  // namespace monitor
