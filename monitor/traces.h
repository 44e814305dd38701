// Everything that the library records: its log files and its debug output together, each record
// once.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "debug_output.h"
#include "feed.h"
#include "log_paths.h"
#include "log_watch.h"

namespace monitor {

class Traces {
 public:
  // wake: as that of a Feed.
  explicit Traces(std::function<bool()> wake) : feed_(std::move(wake)) {}

  // The records of one file, or with none named those of all files of the library and of its debug
  // output. Called again, it reads the files from their beginning; what came by the debug output
  // cannot be had again, and is kept.
  void read(const std::wstring& logFile);
  // The files that are read as far as they can be.
  const std::vector<LogPath>& paths() const { return paths_; }

  // The debug output of all programs besides, from now on or from when reading begins.
  void setAllPrograms(bool all);

  // A row of the debug output that is kept across that: its twin in a file is none of its own.
  void expectTwinOf(const Row& row);

  Feed::News take();

  // All that the log files held when reading began has been handed over.
  bool hasReadFirst() const { return logs_->hasReadFirst(); }
  // Ends reading and listening; what was begun in files can be taken then.
  void finish() {
    output_ = nullptr;
    logs_ = nullptr;
  }

 private:
  bool isTwin(const Row& row);

  void listen();

  Feed feed_;
  bool isOneFile_ = false, allPrograms_ = false;
  std::vector<LogPath> paths_;
  std::wstring listeningSince_;  // empty when nobody ever listened
  bool hasTakenFirst_ = false;   // what the files held when reading began
  // Records that came by one way and may come by the other: how many more by the log file. The
  // oldest are forgotten.
  std::unordered_map<ULONGLONG, int> single_;
  std::deque<ULONGLONG> arrived_;
  size_t mostSingle_ = 0;
  std::unique_ptr<LogWatch> logs_;
  std::unique_ptr<DebugOutput> output_;
};

}  // namespace monitor
