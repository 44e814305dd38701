// How the benchmarks take times and hold them to their targets.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

inline void require(HRESULT result) {
  if (SUCCEEDED(result)) return;
  std::printf("a call failed: 0x%08lX\n", static_cast<unsigned long>(result));
  std::exit(1);
}

template <class T>
T* create(const wchar_t* progId, REFIID id = __uuidof(T)) {
  CLSID classId;
  T* object = nullptr;
  require(CLSIDFromProgID(progId, &classId));
  require(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, id,
                           reinterpret_cast<void**>(&object)));
  return object;
}

// Something that is done a number of times in a round, after a preparation that does not count.
struct Work {
  std::function<void()> round;
  std::function<void()> prepare = [] {};
};

// Nanoseconds for one of count calls.
inline double timeOf(const Work& work, int count) {
  LARGE_INTEGER frequency, start, end;
  work.prepare();
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&start);
  work.round();
  QueryPerformanceCounter(&end);
  const auto ticks = static_cast<double>(end.QuadPart - start.QuadPart);
  return ticks * 1e9 / static_cast<double>(frequency.QuadPart) / count;
}

// The best of several rounds, which is the least disturbed.
inline double measure(int count, const Work& work, int repeats = 5) {
  double best = timeOf(work, count);
  while (--repeats > 0) best = std::min(best, timeOf(work, count));
  return best;
}

struct Pair {
  double ours, peer;
  double ratio() const { return ours / peer; }
};

// Both in turns, so that what disturbs the machine disturbs both.
inline Pair compare(int count, const Work& ours, const Work& peer, int repeats = 5) {
  Pair best = {timeOf(ours, count), timeOf(peer, count)};
  while (--repeats > 0) {
    best.ours = std::min(best.ours, timeOf(ours, count));
    best.peer = std::min(best.peer, timeOf(peer, count));
  }
  return best;
}

// The table of all rows; those beyond their target by more than the noise make the run fail.
class Report {
 public:
  // How much the ratio of a thing to itself was seen to differ from 1.
  void noise(double ratio) {
    allowance_ = std::max(kLeastAllowance, 2 * std::abs(ratio - 1));
    std::printf("a call against itself: %.3f, so up to %.0f %% beyond a target is noise\n", ratio,
                allowance_ * 100);
  }
  void heading(const char* theme, const char* peer) {
    std::printf("\n%-50s %10s %10s %8s %8s\n", theme, "ours", peer, "ratio", "at most");
  }
  // Without a target the row only shows. What is beyond is tried again, longer.
  double row(const std::string& what, int count, const Work& ours, const Work& peer,
             double target = 0) {
    Pair best = compare(count, ours, peer);
    for (int again = 0; again < 3 && target > 0 && best.ratio() > target; ++again) {
      const Pair next = compare(count, ours, peer);
      best = {std::min(best.ours, next.ours), std::min(best.peer, next.peer)};
    }
    show(what, best, target);
    return best.ours;
  }
  void show(const std::string& what, const Pair& pair, double target = 0) {
    std::printf("%-50s %10.1f %10.1f %8.2f ", what.c_str(), pair.ours, pair.peer, pair.ratio());
    if (target > 0) std::printf("%8.2f", target);
    const bool beyond = target > 0 && pair.ratio() > target * (1 + allowance_);
    std::printf("%s\n", beyond ? "  BEYOND" : "");
    std::fflush(stdout);
    beyond_ += beyond;
  }
  int result() const {
    std::printf("\n%d rows beyond their target\n", beyond_);
    return beyond_ == 0 ? 0 : 1;
  }

 private:
  static constexpr double kLeastAllowance = 0.1;

  double allowance_ = kLeastAllowance;
  int beyond_ = 0;
};

// The themes.
void benchCollection(Report& report);
void benchEvents(Report& report);
void benchNames(Report& report);
void benchServices(Report& report);
void benchStartUp(Report& report);
void benchGrowth(Report& report);

// A process of its own for one first object: its time in nanoseconds is the exit code.
int firstObject(const wchar_t* progId);
