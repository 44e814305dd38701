// Rows that wait for somebody to take them. However long that takes, they hold no more memory than
// a list does: beyond that the oldest go.
#pragma once

#include <iterator>
#include <utility>
#include <vector>

#include "row.h"

namespace monitor {

inline constexpr size_t kMostRows = 250'000;
inline constexpr size_t kMostText = 48 * 1024 * 1024;  // characters

class RowBuffer {
 public:
  bool empty() const { return rows_.empty(); }
  size_t size() const { return rows_.size(); }
  size_t text() const { return text_; }  // characters
  size_t lost() const { return lost_; }

  void add(std::vector<Row> rows) {
    for (const Row& row : rows) text_ += row.size();
    if (rows_.empty()) {
      rows_ = std::move(rows);
    } else {
      rows_.insert(rows_.end(), std::move_iterator(rows.begin()), std::move_iterator(rows.end()));
    }
    if (rows_.size() > kMostRows || text_ > kMostText) dropHalf();
  }

  template <class Condition>
  void removeIf(Condition&& condition) {
    std::erase_if(rows_, condition);
    text_ = 0;
    for (const Row& row : rows_) text_ += row.size();
  }
  template <class Use>
  void forEach(Use&& use) const {
    for (const Row& row : rows_) use(row);
  }

  std::vector<Row> take() {
    text_ = lost_ = 0;
    return std::exchange(rows_, {});
  }

 private:
  void dropHalf() {
    const size_t half = rows_.size() / 2;
    for (size_t i = 0; i < half; ++i) text_ -= rows_[i].size();
    rows_.erase(rows_.begin(), rows_.begin() + static_cast<std::ptrdiff_t>(half));
    lost_ += half;
  }

  std::vector<Row> rows_;
  size_t text_ = 0;  // characters in all rows
  size_t lost_ = 0;
};

}  // namespace monitor
