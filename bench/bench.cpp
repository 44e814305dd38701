// What calls cost, next to the platform: each row is a ratio in one run with its target. Times on a
// shared machine mean little by themselves.
//
// To run it: ./dev bench
#include <string_view>

#include "late.h"

namespace {

void measureNoise(Report& report) {
  const Both both;
  Keys keys(1'000);
  both.fill(keys.all());
  const Work hits = eachOf(keys.all(), both.get);
  report.noise(compare(1'000, hits, hits).ratio());
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  require(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
  if (argc == 3 && std::wstring_view(argv[1]) == L"first") return firstObject(argv[2]);
  Report report;
  measureNoise(report);
  benchStartUp(report);
  benchCollection(report);
  benchNames(report);
  benchEvents(report);
  benchGrowth(report);
  benchServices(report);
  CoUninitialize();
  return report.result();
}
