// The log file: where it is, what a record looks like, and how writers share it.
#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "companion/log_file.h"
#include "companion/trace_log.h"
#include "support/files.h"

using namespace zsupport;

namespace {

constexpr int kWriters = 3, kLines = 300, kFill = 1500;  // together more than one file holds

// A log of one test, with the files that belong to it.
class Log : public testing::Test {
 protected:
  Log() { removeAll(); }
  ~Log() override { removeAll(); }

  void removeAll() const {
    for (const std::wstring& file : {path, old, older, fallback, below}) DeleteFileW(file.c_str());
  }
  // Of a service that is set to write into the given file.
  static LONG reportTo(const std::wstring& file, const std::wstring& description = L"it") {
    TraceLog log;
    log.AppTitle(kTitle);
    log.CallStackEnabled(true);
    log.DefaultAction(kRetry);
    log.LogFile(file);
    ErrorReport report = {
        L"Zollection", L"Sub Add", makeError(7, L"caf\u00e9", description), 0, L"in host.exe",
        false,         0};
    return log.ReportError(report);
  }
  static HANDLE opened(const std::wstring& file, DWORD shared) {
    return CreateFileW(file.c_str(), GENERIC_READ, shared, nullptr, OPEN_ALWAYS, 0, nullptr);
  }
  static auto linesOf(const std::string& content) { return std::ranges::count(content, '\n'); }

  static constexpr wchar_t kTitle[] = L"ZSupport test log";
  const std::wstring path = std::filesystem::temp_directory_path() / L"ZSupportTest\\a.log",
                     old = path + L".old", older = path + L".older";
  const std::wstring fallback = defaultLogPath(kTitle);
  const std::wstring below = fallback.substr(0, fallback.find_last_of(L'\\')) + L"\\sub\\below.log";
};

TEST_F(Log, HasOneLinePerErrorThatCannotBeForged) {
  const std::pair<std::wstring, std::string> cases[] = {
      {L"two\r\nlines\tand a tab", "two\\r\\nlines\\tand a tab"},
      {std::wstring(L"zero\0, bell\a, \x85, delete\x7f", 24),
       "zero\\u0000, bell\\u0007, \\u0085, delete\\u007F"},
      {L"C:\\new\\u0041", "C:\\\\new\\\\u0041"},
      {L"\x2028\x2029 \x202a\x202e \x2066\x2069 \x200e\x200f \x61c",
       "\\u2028\\u2029 \\u202A\\u202E \\u2066\\u2069 \\u200E\\u200F \\u061C"},
      {L"\xd800 \xdc00\xd800", "\\uD800 \\uDC00\\uD800"},
      {L"\xd83d\xde00 \x4e2d", "\xF0\x9F\x98\x80 \xE4\xB8\xAD"},
  };
  for (const auto& [description, shown] : cases) {
    EXPECT_EQ(kLeave, reportTo(path, description));
    const std::string record = contentOf(path);
    EXPECT_TRUE(
        record.ends_with("\tZollection\tSub Add\t7\tcaf\xC3\xA9\t" + shown + "\tin host.exe\r\n"))
        << record;
    EXPECT_EQ(1, linesOf(record));
    DeleteFileW(path.c_str());
  }
}

TEST_F(Log, GoesToItsPathOrToTheDefaultOne) {
  const std::pair<std::wstring, std::wstring> cases[] = {
      {L"", fallback},
      {L"Z:\\no\\such\\folder\\?\\x.log", fallback},
      {L"sub\\below.log", below},
      {path, path},
  };
  for (const auto& [set, written] : cases) {
    removeAll();
    reportTo(set);
    for (const auto& file : {path, fallback, below})
      EXPECT_EQ(file == written, linesOf(contentOf(file)) == 1) << set;
  }
}

TEST_F(Log, IsBoundedAndLosesNothingWhenItsOlderPartsAreInUse) {
  const std::wstring longText(200'000, L'x');
  for (int i = 0; i < 12; ++i) reportTo(path, longText);
  EXPECT_LE(contentOf(path).size(), kLogFileLimit);
  EXPECT_LE(contentOf(old).size(), kLogFileLimit);
  EXPECT_GT(contentOf(old).size(), kLogFileLimit / 2);

  const HANDLE oldInUse = opened(old, FILE_SHARE_READ), olderInUse = opened(older, FILE_SHARE_READ);
  for (int i = 0; i < 6; ++i) reportTo(path, longText);
  EXPECT_GT(contentOf(path).size(), kLogFileLimit);
  EXPECT_NE(std::string::npos, contentOf(path).find("it grows on.\r\n"));
  CloseHandle(oldInUse);
  CloseHandle(olderInUse);
  reportTo(path);
  EXPECT_LE(contentOf(path).size(), 1000u);
}

TEST_F(Log, WaitsLongOnlyOnceForWhoeverHoldsIt) {
  reportTo(path);
  const HANDLE file = opened(path, FILE_SHARE_READ | FILE_SHARE_WRITE);
  ASSERT_TRUE(LockFile(file, 0x7FFFFFFF, 0, 1, 0));
  const DWORD start = GetTickCount();
  for (int i = 0; i < 3; ++i) reportTo(path);
  const DWORD waited = GetTickCount() - start;
  EXPECT_TRUE(1500 < waited && waited < 3500) << waited;
  CloseHandle(file);
  EXPECT_EQ(4, linesOf(contentOf(path)));
}

// Each by a handle of its own, which is all that keeps processes apart, too.
TEST_F(Log, TakesThreeWritersAtOnceWithoutLosingALine) {
  const std::wstring respelled = std::wstring(path).replace(path.rfind(L'\\'), 1, L"\\.\\");
  std::vector<std::thread> writers;
  for (int i = 0; i < kWriters; ++i) {
    writers.emplace_back(
        [&, file = i ? path : respelled, writer = L"<" + std::to_wstring(i) + L"."] {
          for (int line = 0; line < kLines; ++line)
            appendToLog(file, std::wstring(kFill, L'.') + writer + std::to_wstring(line) + L">");
        });
  }
  for (auto& writer : writers) writer.join();
  const std::string before = contentOf(old), content = before + contentOf(path);
  EXPECT_FALSE(before.empty());
  EXPECT_EQ(kWriters * kLines, linesOf(content));
  for (int i = 0; i < kWriters * kLines; ++i) {
    const auto line =
        ".<" + std::to_string(i / kLines) + "." + std::to_string(i % kLines) + ">\r\n";
    EXPECT_NE(std::string::npos, content.find(line)) << line;
  }
}

}  // namespace
