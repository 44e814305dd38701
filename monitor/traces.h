// Everything that the library records: its log files and its debug output together, each record
// once.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "debug_output.h"
#include "feed.h"
#include "log_watch.h"

namespace monitor {

class Traces {
 public:
  // wake: called on threads of this object when there is something to take.
  explicit Traces(std::function<void()> wake) : feed_(std::move(wake)) {}

  // The records of one file, or with none named those of all files of the library and of its debug
  // output. Begins anew when called again.
  void read(const std::wstring& logFile);

  // The debug output of all programs besides.
  void setAllPrograms(bool all);

  Feed::News take();

  // Until all that the log files held when reading began can be taken.
  void waitForFirst() const { logs_->waitForFirst(); }

 private:
  bool isTwin(const Row& row);

  void listen();

  Feed feed_;
  bool isOneFile_ = false;
  // Records that came by one way and may come by the other: how many more by the log file.
  std::map<std::wstring, int> single_;
  std::unique_ptr<LogWatch> logs_;
  std::unique_ptr<DebugOutput> output_;
};

}  // namespace monitor
