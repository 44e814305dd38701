// The rows of a list, and those of them that are shown: the ones that hold the filter's text, in
// the order of a column.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "row_buffer.h"

namespace monitor {

// The first row's is 0, and no other's ever again.
using RowId = uint64_t;

class RowList {
 public:
  // Cells behind the columns are not searched.
  explicit RowList(size_t columns) : columns_(columns) {}

  size_t size() const { return rows_.size(); }
  size_t text() const { return text_; }  // characters
  size_t shown() const { return shown_.size(); }
  const Row& at(size_t place) const { return row(shown_[place]); }

  // What a shown row is known by, and where it is shown; npos when it is not.
  RowId idAt(size_t place) const { return shown_[place]; }
  size_t placeOf(RowId id) const;
  static constexpr size_t npos = static_cast<size_t>(-1);

  // The oldest rows go when there are more than kMostRows, or more text than kMostText.
  void add(std::vector<Row> rows);
  void removeIf(const std::function<bool(const Row&)>& condition);
  void forEach(const std::function<void(const Row&)>& use) const {
    for (const Row& each : rows_) use(each);
  }

  // Letter case does not count.
  void setFilter(const std::wstring& text);

  // By a cell, numbers by their size and before texts, texts without regard to case; by none, as
  // rows came.
  struct Order {
    int column = -1;
    bool isDescending = false;
    bool operator==(const Order&) const = default;
  };
  void setOrder(Order order);
  Order order() const { return order_; }

 private:
  const Row& row(RowId id) const { return rows_[static_cast<size_t>(id - dropped_)]; }
  bool matches(const Row& row) const;
  bool isBefore(RowId first, RowId second) const;
  void show(const std::vector<RowId>& added);
  void dropOldest();
  void rebuild();

  const size_t columns_;
  std::deque<Row> rows_;
  RowId dropped_ = 0;  // the id of the first row
  size_t text_ = 0;    // characters in all rows
  std::vector<RowId> shown_;
  std::wstring filter_;  // folded
  Order order_;
};

}  // namespace monitor
