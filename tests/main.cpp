// The tests' main: an apartment to run in, and sound heaps after every test.
#include <windows.h>

#include <gtest/gtest.h>
#include <objbase.h>
#include <vector>

namespace {

// Overruns show when a heap is asked, which is why every heap of the process is.
class HeapValidator final : public testing::EmptyTestEventListener {
  void OnTestEnd(const testing::TestInfo&) override {
    std::vector<HANDLE> heaps(64);
    heaps.resize(GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()));
    for (const HANDLE heap : heaps) EXPECT_TRUE(HeapValidate(heap, 0, nullptr));
  }
};

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new HeapValidator);
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  const int result = RUN_ALL_TESTS();
  CoUninitialize();
  return result;
}
