// How the monitor reads a log whose parts are renamed, from within.
#include "log_file.h"

#include <atomic>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "support/test_log.h"

namespace {

// Whatever becomes of its parts between two readings, every line of a log is read once. Only a part
// that would be overwritten unread is read before.
TEST(MonitorLog, EveryLineIsReadOnce) {
  std::mt19937 random(20261121);
  for (int round = 0; round < 10; ++round) {
    const Log log;
    const std::wstring old = log.path + L".old", older = log.path + L".older";
    monitor::LogFile file(log.path);
    std::vector<int> timesRead;
    std::set<std::wstring> unread;
    HANDLE holder = INVALID_HANDLE_VALUE;
    bool isLocked = false;
    const auto read = [&] {
      const DWORD error = file.readNew([&](std::string_view line) {
                                ++timesRead.at(static_cast<size_t>(std::atoi(line.data())));
                                return true;
                              })
                              .error;
      EXPECT_TRUE(error == 0 || isLocked) << error;
      if (error == 0) std::erase_if(unread, [&](auto& path) { return !isLocked || path != old; });
    };
    const auto append = [&](const std::wstring& path) {
      const std::string line =
          std::to_string(timesRead.size()) + std::string(random() % 80, ' ') + "\r\n";
      timesRead.push_back(0);
      const size_t cut = path == log.path ? random() % line.size() : 0;
      log.append(line.substr(0, cut), path);
      if (random() % 8 == 0) read();
      log.append(line.substr(cut), path);
      unread.insert(path);
    };
    for (int step = 0; step < 400; ++step) {
      const unsigned action = random() % 16;
      if (action == 0) {
        read();
      } else if (action == 1) {
        const std::wstring& target = holder == INVALID_HANDLE_VALUE ? old : older;
        if (unread.contains(target)) read();
        if (!unread.contains(target) &&
            MoveFileExW(log.path.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING) &&
            unread.erase(log.path)) {
          unread.insert(target);
        }
      } else if (action == 2) {
        if (holder != INVALID_HANDLE_VALUE)
          CloseHandle(std::exchange(holder, INVALID_HANDLE_VALUE));
        isLocked = false;
      } else if (action == 3 && holder == INVALID_HANDLE_VALUE) {
        const DWORD share = random() % 2 ? FILE_SHARE_READ | FILE_SHARE_WRITE : 0;
        holder = CreateFileW(old.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, 0, nullptr);
        isLocked = holder != INVALID_HANDLE_VALUE && share == 0;
      } else if (action == 4 && !isLocked &&
                 GetFileAttributesW(old.c_str()) != INVALID_FILE_ATTRIBUTES) {
        append(old);  // by a writer who had it open as the current one
      } else {
        append(log.path);
      }
    }
    isLocked = false;
    CloseHandle(holder);
    read();
    EXPECT_EQ(std::vector<int>(timesRead.size(), 1), timesRead) << "round " << round;
  }
}

// The same while another thread writes and renames, which it does again only after a reading, as
// what is overwritten unread is lost.
TEST(MonitorLog, EveryLineIsReadOnceWhileTheLogRolls) {
  const Log log;
  monitor::LogFile file(log.path);
  std::map<std::string, int> timesRead;
  std::atomic<int> readings = 0;
  std::atomic<bool> isWritten = false;
  constexpr int kRolls = 300;
  std::thread writer([&] {
    for (int i = 0; i < kRolls; ++i) {
      log.append("before " + std::to_string(i) + "\r\n");
      log.roll();
      log.append("after " + std::to_string(i) + "\r\n");
      for (const int begun = readings; readings < begun + 2;) Sleep(0);
    }
    isWritten = true;
  });
  for (bool isLast = false; !isLast; ++readings) {
    isLast = isWritten;
    EXPECT_EQ(0u, file.readNew([&](std::string_view line) {
                        ++timesRead[std::string(line)];
                        return true;
                      })
                      .error);
  }
  writer.join();
  EXPECT_EQ(2u * kRolls, timesRead.size());
  for (const auto& [line, times] : timesRead) EXPECT_EQ(1, times) << line;
}

}  // namespace
