// From the threads that read to the one that shows: rows, in order, and a line about how it stands.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "row_buffer.h"

namespace monitor {

class Feed {
 public:
  // wake: called on the reading threads when there is something to take, once for all until it is
  // taken; again with the next when it answers false.
  explicit Feed(std::function<bool()> wake) : wake_(std::move(wake)) {}

  void add(std::vector<Row> rows) {
    if (rows.empty()) return;
    change([&] { rows_.add(std::move(rows)); });
  }

  void say(const std::wstring& status) {
    change([&] { status_ += (status_.empty() ? L"" : L"; ") + status; });
  }

  struct News {
    std::vector<Row> rows;
    size_t lost;  // rows that there was no room for
    std::wstring status;
  };
  News take() {
    const std::lock_guard lock(mutex_);
    const size_t lost = rows_.lost();
    isAwake_ = false;
    return {rows_.take(), lost, std::exchange(status_, {})};
  }

 private:
  template <class Change>
  void change(Change&& make) {
    const std::lock_guard lock(mutex_);
    make();
    if (!isAwake_) isAwake_ = wake_();
  }

  std::function<bool()> wake_;
  std::mutex mutex_;
  RowBuffer rows_;
  std::wstring status_;
  bool isAwake_ = false;
};

}  // namespace monitor
