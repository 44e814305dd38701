#include "row_list.h"

#include <algorithm>

#include "text.h"

namespace monitor {
namespace {

bool isNumber(std::wstring_view text) {
  return !text.empty() && text.size() < 20 && text.find_first_not_of(L"0123456789") == text.npos;
}

int compareCells(std::wstring_view first, std::wstring_view second) {
  if (isNumber(first) && isNumber(second) && first.size() != second.size()) {
    return first.size() < second.size() ? -1 : 1;
  }
  return compareFolded(first, second);
}

}  // namespace

size_t RowList::placeOf(uint32_t id) const {
  const auto found = order_ == Order() ? std::lower_bound(shown_.begin(), shown_.end(), id)
                                       : std::find(shown_.begin(), shown_.end(), id);
  return found != shown_.end() && *found == id ? static_cast<size_t>(found - shown_.begin()) : npos;
}

void RowList::add(std::vector<Row> rows) {
  std::vector<uint32_t> added;
  for (Row& row : rows) {
    const uint32_t id = dropped_ + static_cast<uint32_t>(rows_.size());
    if (matches(row)) added.push_back(id);
    text_ += row.text().size();
    rows_.push_back(std::move(row));
  }
  if (order_.column >= 0) sort(added);
  const auto middle = static_cast<std::ptrdiff_t>(shown_.size());
  shown_.insert(shown_.end(), added.begin(), added.end());
  if (order_.column >= 0) {
    std::inplace_merge(shown_.begin(), shown_.begin() + middle, shown_.end(),
                       [this](uint32_t a, uint32_t b) { return isBefore(a, b); });
  }
  if (rows_.size() > kMostRows || text_ > kMostText) dropOldest();
}

void RowList::clear() {
  dropped_ += static_cast<uint32_t>(rows_.size());
  rows_.clear();
  shown_.clear();
  text_ = 0;
}

void RowList::setFilter(const std::wstring& text) {
  filter_ = folded(text);
  rebuild();
}

void RowList::setOrder(Order order) {
  order_ = order;
  rebuild();
}

bool RowList::matches(const Row& row) const {
  if (filter_.empty()) return true;
  const std::wstring& text = row.text();
  return std::search(text.begin(), text.end(), filter_.begin(), filter_.end(),
                     [](wchar_t c, wchar_t wanted) { return folded(c) == wanted; }) != text.end();
}

bool RowList::isBefore(uint32_t first, uint32_t second) const {
  const size_t column = static_cast<size_t>(order_.column);
  const int difference =
      compareCells(rows_[first - dropped_].cell(column), rows_[second - dropped_].cell(column));
  return difference ? (difference < 0) != order_.isDescending : first < second;
}

void RowList::sort(std::vector<uint32_t>& ids) const {
  std::sort(ids.begin(), ids.end(), [this](uint32_t a, uint32_t b) { return isBefore(a, b); });
}

// A tenth at a time, so that not every new row has its price.
void RowList::dropOldest() {
  do {
    for (size_t i = std::max<size_t>(rows_.size() / 10, 1); i > 0; --i) {
      text_ -= rows_.front().text().size();
      rows_.pop_front();
      ++dropped_;
    }
  } while (text_ > kMostText && rows_.size() > 1);
  std::erase_if(shown_, [this](uint32_t id) { return id < dropped_; });
}

void RowList::rebuild() {
  shown_.clear();
  for (size_t i = 0; i < rows_.size(); ++i) {
    if (matches(rows_[i])) shown_.push_back(dropped_ + static_cast<uint32_t>(i));
  }
  if (order_.column >= 0) sort(shown_);
}

}  // namespace monitor
