// How the benchmarks create objects and take times.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>

inline void require(HRESULT result) {
  if (SUCCEEDED(result)) return;
  std::printf("a call failed: 0x%08lX\n", static_cast<unsigned long>(result));
  std::exit(1);
}

// Nanoseconds for one of count calls: the best of several rounds, which is the least disturbed.
inline double measure(
    int count, const std::function<void()>& round, const std::function<void()>& prepare = [] {},
    int repeats = 7) {
  LARGE_INTEGER frequency, start, end;
  QueryPerformanceFrequency(&frequency);
  double best = 1e18;
  for (int i = 0; i < repeats; ++i) {
    prepare();
    QueryPerformanceCounter(&start);
    round();
    QueryPerformanceCounter(&end);
    const auto ticks = static_cast<double>(end.QuadPart - start.QuadPart);
    best = std::min(best, ticks * 1e9 / static_cast<double>(frequency.QuadPart) / count);
  }
  return best;
}

template <class T>
T* create(const wchar_t* progId, REFIID id) {
  CLSID classId;
  T* object = nullptr;
  require(CLSIDFromProgID(progId, &classId));
  require(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, id,
                           reinterpret_cast<void**>(&object)));
  return object;
}
