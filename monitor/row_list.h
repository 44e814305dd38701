// The rows of a list, and those of them that are shown: the ones that hold the filter's text, in
// the order of a column.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "row.h"

namespace monitor {

class RowList {
 public:
  // The oldest rows go when there are more, or when they hold more text than that.
  static constexpr size_t kMostRows = 250'000;
  static constexpr size_t kMostText = 48 * 1024 * 1024;  // characters

  size_t size() const { return rows_.size(); }
  size_t shown() const { return shown_.size(); }
  const Row& at(size_t place) const { return rows_[shown_[place] - dropped_]; }

  // The identity of a shown row, and where it is shown; npos when it is not.
  uint32_t idAt(size_t place) const { return shown_[place]; }
  size_t placeOf(uint32_t id) const;
  static constexpr size_t npos = static_cast<size_t>(-1);

  void add(std::vector<Row> rows);
  void clear();

  // Letter case does not count.
  void setFilter(const std::wstring& text);

  // By a cell, texts without regard to case and digits by their number; by none, as rows came.
  struct Order {
    int column = -1;
    bool isDescending = false;
    bool operator==(const Order&) const = default;
  };
  void setOrder(Order order);
  Order order() const { return order_; }

 private:
  bool matches(const Row& row) const;
  bool isBefore(uint32_t first, uint32_t second) const;
  void sort(std::vector<uint32_t>& ids) const;
  void dropOldest();
  void rebuild();

  std::deque<Row> rows_;
  uint32_t dropped_ = 0;  // the id of the first row
  size_t text_ = 0;       // characters in all rows
  std::vector<uint32_t> shown_;
  std::wstring filter_;  // folded
  Order order_;
};

}  // namespace monitor
