#include "row_list.h"

#include <algorithm>

#include "text.h"

namespace monitor {
namespace {

bool isWholeNumber(std::wstring_view text) {
  return !text.empty() && text.find_first_not_of(L"0123456789") == text.npos;
}

int compareCells(std::wstring_view first, std::wstring_view second) {
  const bool isFirstNumber = isWholeNumber(first), isSecondNumber = isWholeNumber(second);
  if (isFirstNumber != isSecondNumber) return isFirstNumber ? -1 : 1;
  if (isFirstNumber && first.size() != second.size()) return first.size() < second.size() ? -1 : 1;
  return compareFolded(first, second);
}

}  // namespace

size_t RowList::placeOf(RowId id) const {
  const auto found = order_.column < 0 ? std::lower_bound(shown_.begin(), shown_.end(), id)
                                       : std::find(shown_.begin(), shown_.end(), id);
  return found != shown_.end() && *found == id ? static_cast<size_t>(found - shown_.begin()) : npos;
}

void RowList::add(std::vector<Row> rows) {
  std::vector<RowId> added;
  for (Row& each : rows) {
    const RowId id = dropped_ + rows_.size();
    if (matches(each)) added.push_back(id);
    text_ += each.size();
    rows_.push_back(std::move(each));
  }
  show(added);
  if (rows_.size() > kMostRows || text_ > kMostText) dropOldest();
}

void RowList::show(const std::vector<RowId>& added) {
  constexpr size_t few = 200;
  const auto before = [this](RowId a, RowId b) { return isBefore(a, b); };
  const auto middle = static_cast<std::ptrdiff_t>(shown_.size());
  if (order_.column >= 0 && added.size() < few) {
    for (const RowId id : added) {
      shown_.insert(std::upper_bound(shown_.begin(), shown_.end(), id, before), id);
    }
    return;
  }
  shown_.insert(shown_.end(), added.begin(), added.end());
  if (order_.column >= 0) {
    std::sort(shown_.begin() + middle, shown_.end(), before);
    std::inplace_merge(shown_.begin(), shown_.begin() + middle, shown_.end(), before);
  }
}

void RowList::removeIf(const std::function<bool(const Row&)>& condition) {
  dropped_ += rows_.size();
  std::erase_if(rows_, condition);
  text_ = 0;
  for (const Row& each : rows_) text_ += each.size();
  rebuild();
}

void RowList::setFilter(const std::wstring& text) {
  const std::wstring wanted = folded(text);
  const bool isNarrower = !filter_.empty() && wanted.find(filter_) != wanted.npos;
  filter_ = wanted;
  if (isNarrower) {
    std::erase_if(shown_, [this](RowId id) { return !matches(row(id)); });
  } else {
    rebuild();
  }
}

void RowList::setOrder(Order order) {
  order_ = order;
  rebuild();
}

bool RowList::matches(const Row& row) const {
  if (filter_.empty()) return true;
  for (size_t i = 0; i < columns_; ++i) {
    const std::wstring_view cell = row.cell(i);
    const auto found = std::search(cell.begin(), cell.end(), filter_.begin(), filter_.end(),
                                   [](wchar_t c, wchar_t wanted) { return folded(c) == wanted; });
    if (found != cell.end()) return true;
  }
  return false;
}

bool RowList::isBefore(RowId first, RowId second) const {
  const size_t column = static_cast<size_t>(order_.column);
  const int difference = compareCells(row(first).cell(column), row(second).cell(column));
  return difference ? (difference < 0) != order_.isDescending : first < second;
}

// A tenth at a time, so that not every new row has its price.
void RowList::dropOldest() {
  do {
    for (size_t i = std::max<size_t>(rows_.size() / 10, 1); i > 0; --i) {
      text_ -= rows_.front().size();
      rows_.pop_front();
      ++dropped_;
    }
  } while ((rows_.size() > kMostRows || text_ > kMostText) && rows_.size() > 1);
  std::erase_if(shown_, [this](RowId id) { return id < dropped_; });
}

void RowList::rebuild() {
  shown_.clear();
  std::vector<RowId> all;
  for (size_t i = 0; i < rows_.size(); ++i) {
    if (matches(rows_[i])) all.push_back(dropped_ + i);
  }
  show(all);
}

}  // namespace monitor
