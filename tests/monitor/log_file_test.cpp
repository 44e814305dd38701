// How the monitor reads a log whose parts are renamed, from within.
#include "log_file.h"

#include <gtest/gtest.h>
#include <random>
#include <set>
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
    const auto read = [&] {
      EXPECT_EQ(0u, file.readNew([&](std::string_view line) {
                          ++timesRead.at(static_cast<size_t>(std::atoi(line.data())));
                          return true;
                        })
                        .error);
      unread.clear();
    };
    const auto append = [&](const std::wstring& path) {
      log.append(std::to_string(timesRead.size()) + std::string(random() % 80, ' ') + "\r\n", path);
      timesRead.push_back(0);
      unread.insert(path);
    };
    HANDLE holder = INVALID_HANDLE_VALUE;
    for (int step = 0; step < 400; ++step) {
      const unsigned action = random() % 16;
      if (action == 0) {
        read();
      } else if (action == 1) {
        const std::wstring& target = holder == INVALID_HANDLE_VALUE ? old : older;
        if (unread.contains(target)) read();
        if (MoveFileExW(log.path.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING) &&
            unread.erase(log.path)) {
          unread.insert(target);
        }
      } else if (action == 2) {
        if (holder != INVALID_HANDLE_VALUE)
          CloseHandle(std::exchange(holder, INVALID_HANDLE_VALUE));
      } else if (action == 3 && holder == INVALID_HANDLE_VALUE) {
        holder = CreateFileW(old.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                             OPEN_EXISTING, 0, nullptr);
      } else if (action == 4 && GetFileAttributesW(old.c_str()) != INVALID_FILE_ATTRIBUTES) {
        append(old);  // by a writer who had it open as the current one
      } else {
        append(log.path);
      }
    }
    CloseHandle(holder);
    read();
    EXPECT_EQ(std::vector<int>(timesRead.size(), 1), timesRead) << "round " << round;
  }
}

}  // namespace
