// What the monitor shows of log files and debug output, and of the library's settings.
#include <windows.h>

#include <algorithm>

#include "resource.h"
#include "support/com.h"
#include "support/files.h"
#include "support/monitor_window.h"
#include "support/test_log.h"

namespace {

constexpr int kTraceColumns = 9;
constexpr int kFileName = 0x47C;  // of the platform's file dialogs

std::wstring clipboardText() {
  std::wstring text;
  if (!OpenClipboard(nullptr)) return text;
  if (const HANDLE memory = GetClipboardData(CF_UNICODETEXT)) {
    text = static_cast<const wchar_t*>(GlobalLock(memory));
    GlobalUnlock(memory);
  }
  CloseClipboard();
  return text;
}

TEST(MonitorTraces, ALogThatGrowsRollsAndIsDamagedIsFollowed) {
  const Log log;
  log.append(record("older"));
  log.roll();
  log.append(record("tab\\tline\\r\\n\\u2028 backslash \\\\", "0x80040001"));
  Monitor monitor(logOption(log));
  ASSERT_TRUE(monitor.shows(2));
  EXPECT_EQ(
      L"tool.exe|4000000|8|Zollection|Sub Add|5|System\\ZSupport.Zollection::Sub "
      L"Add!Zollection.Add|older",
      monitor.row(0, kTraceColumns));
  EXPECT_EQ(L"tab line    backslash \\", monitor.cell(1, 8));

  const std::string begun = record("begun");
  log.append(begun.substr(0, 50));
  log.append(begun.substr(50) + "2026-01-31 14:05:09.250\tZSup");
  log.append("\r\n\xFF\xFE no UTF-8\r\n" + record("bad escape \\x"));
  ASSERT_TRUE(monitor.shows(6));
  EXPECT_EQ(L"begun", monitor.cell(2, 8));
  for (const size_t row : {3u, 4u, 5u}) EXPECT_EQ(L"(damaged line)", monitor.cell(row, 4));

  log.append(record("last before the roll"));
  log.roll();
  log.append(record("first after it"));
  ASSERT_TRUE(monitor.shows(8));
  EXPECT_EQ(L"last before the roll", monitor.cell(6, 8));
  EXPECT_EQ(L"first after it", monitor.cell(7, 8));

  DeleteFileW(log.path.c_str());
  log.append(record("of a new file"));
  ASSERT_TRUE(eventually([&] { return monitor.cell(monitor.rows() - 1, 8) == L"of a new file"; }));
  EXPECT_EQ(9u, monitor.rows());

  // Whole, unescaped, with the road in words. Keys that edits take for themselves do no harm there.
  monitor.choose(monitor.list(), 1);
  const HWND details = monitor.control(WC_EDITW, 1);
  EXPECT_TRUE(eventually([&] {
    const std::wstring text = monitor.text(details);
    return text.find(L"tab\tline\r\n") != text.npos &&
           text.find(L"left Zollection::Sub Add, came from Zollection.Add\r\n") != text.npos;
  }));
  PostMessageW(monitor.list(), WM_KEYDOWN, VK_TAB, 0);
  EXPECT_TRUE(eventually([&] { return monitor.hasFocus(details); }));
  PostMessageW(details, WM_KEYDOWN, VK_ESCAPE, 0);
  PostMessageW(details, WM_KEYDOWN, VK_TAB, 0);
  EXPECT_TRUE(eventually([&] { return !monitor.hasFocus(details); }));
  EXPECT_EQ(9u, monitor.rows());
}

TEST(MonitorTraces, AFolderMayComeLater) {
  const Log log(L"monitor folder\\below it\\test.log");
  const std::wstring below = log.path.substr(0, log.path.rfind(L'\\'));
  const std::wstring folder = below.substr(0, below.rfind(L'\\'));
  {
    Monitor monitor(logOption(log));
    EXPECT_EQ(0u, monitor.rows());
    CreateDirectoryW(folder.c_str(), nullptr);
    CreateDirectoryW(below.c_str(), nullptr);
    log.append(record("first"));
    EXPECT_TRUE(monitor.shows(1));
    log.append(record("second"));
    EXPECT_TRUE(monitor.shows(2));
  }
  DeleteFileW(log.path.c_str());
  RemoveDirectoryW(below.c_str());
  EXPECT_TRUE(RemoveDirectoryW(folder.c_str()));
}

TEST(MonitorTraces, ALockedLogIsReadWhenItCanBe) {
  const Log log;
  log.append(record("behind the lock"));
  const HANDLE lock =
      CreateFileW(log.path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  Monitor monitor(logOption(log));
  EXPECT_TRUE(monitor.says(L"cannot be read"));
  CloseHandle(lock);
  EXPECT_TRUE(monitor.shows(1));
}

TEST(MonitorTraces, AHundredThousandRecordsAreFilteredSortedHeldAndSaved) {
  const Log log;
  std::string records;
  for (int i = 0; i < 100'000; ++i)
    records += record("number " + std::to_string(i), std::to_string(i % 7));
  log.append(records);
  Monitor monitor(logOption(log));
  ASSERT_TRUE(monitor.shows(100'000));

  const HWND filter = monitor.control(WC_EDITW);
  monitor.type(filter, L"NUMBER 9999");
  EXPECT_TRUE(monitor.shows(11));
  monitor.command(IDM_SORT + 8);
  monitor.command(IDM_SORT + 8);  // downwards
  EXPECT_TRUE(eventually([&] { return monitor.cell(0, 8) == L"number 99999"; }));
  EXPECT_EQ(L"number 9999", monitor.cell(10, 8));

  monitor.choose(monitor.list(), 10);
  monitor.command(IDM_HOLD);
  log.append(record("=number 9999, \"quoted\""));
  EXPECT_TRUE(monitor.says(L"held: 1 waiting", 1));
  EXPECT_EQ(11u, monitor.rows());
  monitor.command(IDM_HOLD);
  EXPECT_TRUE(monitor.shows(12));
  // It has come to the end or before the chosen one, which stays chosen.
  const size_t chosen = static_cast<size_t>(
      SendMessageW(monitor.list(), LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED));
  EXPECT_EQ(L"number 9999", monitor.cell(chosen, 8));

  EXPECT_TRUE(eventually([&] {
    monitor.command(IDM_COPY);
    Sleep(50);
    return clipboardText().ends_with(L"!Zollection.Add\tnumber 9999\r\n");
  }));

  for (const wchar_t* const name : {L"monitor test.csv", L"monitor test.txt"}) {
    const std::wstring path = temporary(name);
    DeleteFileW(path.c_str());
    monitor.command(IDM_SAVE);
    const HWND dialog = monitor.dialog(L"Save As");
    monitor.type(GetDlgItem(dialog, kFileName), path.c_str());
    PostMessageW(dialog, WM_COMMAND, IDOK, 0);
    EXPECT_TRUE(monitor.says((path + L" is saved").c_str()));
    const std::string saved = contentOf(path);
    EXPECT_EQ(0u, saved.find("\xEF\xBB\xBF"));
    EXPECT_EQ(13, std::count(saved.begin(), saved.end(), '\n'));
    EXPECT_NE(saved.npos,
              saved.find(path.ends_with(L"csv") ? ",\"'=number 9999, \"\"quoted\"\"\"\r\n"
                                                : "\t=number 9999, \"quoted\"\r\n"));
    DeleteFileW(path.c_str());
  }
}

// The library's own settings, put back afterwards.
class MonitorOfTheLibrary : public testing::Test {
 protected:
  MonitorOfTheLibrary() { clear(); }
  ~MonitorOfTheLibrary() override { clear(); }

  static void clear() {
    for (const wchar_t* const root : {L"Software\\", L"Software\\Policies\\"}) {
      RegDeleteTreeW(HKEY_CURRENT_USER, (root + std::wstring(kDebugKey)).c_str());
    }
  }
  static void put(const wchar_t* name, DWORD value, const wchar_t* root = L"Software\\") {
    RegSetKeyValueW(HKEY_CURRENT_USER, (root + std::wstring(kDebugKey)).c_str(), name, REG_DWORD,
                    &value, sizeof value);
  }
  static DWORD stored(const wchar_t* name) {
    DWORD value = 0xDEAD, size = sizeof value;
    RegGetValueW(HKEY_CURRENT_USER, (L"Software\\" + std::wstring(kDebugKey)).c_str(), name,
                 RRF_RT_REG_DWORD, nullptr, &value, &size);
    return value;
  }
  static constexpr wchar_t kDebugKey[] = L"Zarnow Instruments Ltd.\\System\\ZSupport\\Debug";
};

TEST_F(MonitorOfTheLibrary, ARecordThatComesByLogAndDebugOutputStandsThereOnce) {
  const Log log;
  put(L"Debug Level", edlLogFile | edlTLogFile | edlTZTrace);
  RegSetKeyValueW(HKEY_CURRENT_USER, (L"Software\\" + std::wstring(kDebugKey)).c_str(), L"LogFile",
                  REG_SZ, log.path.c_str(), static_cast<DWORD>(2 * log.path.size() + 2));
  Monitor monitor(L"");
  monitor.command(IDM_TRACES);
  ASSERT_TRUE(eventually([&] { return monitor.control(WC_COMBOBOXW) == nullptr; }));
  const HWND filter = monitor.control(WC_EDITW);
  monitor.type(filter, L"monitor_tests.exe");
  const auto fail = [] {
    std::thread([] {
      CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
      newCollection()->RemoveByIndex(1000);
      CoUninitialize();
    }).join();
  };
  fail();
  ASSERT_TRUE(eventually([&] { return monitor.rows() > 0; }));
  fail();
  ASSERT_TRUE(eventually([&] { return monitor.rows() > 1; }));
  EXPECT_EQ(L"monitor_tests.exe", monitor.cell(0, 1));
  EXPECT_EQ(L"381", monitor.cell(0, 6));

  // Of other programs, only when they are wanted; a text may be longer than the page it comes by.
  OutputDebugStringW(L"not wanted");
  OutputDebugStringA(record("for monitor_tests.exe").c_str());
  ASSERT_TRUE(monitor.shows(3));
  monitor.command(IDM_ALL_PROGRAMS);
  ASSERT_TRUE(eventually([&] {
    OutputDebugStringW(std::wstring(10'000, L'x').c_str());
    OutputDebugStringW(L"\n");  // it may be cut off before its end
    Sleep(250);
    return monitor.rows() > 3;
  }));
  EXPECT_EQ(L'x', monitor.cell(3, 8).back());
  EXPECT_EQ(L"", monitor.cell(3, 4));

  // What came by debug output only stays; nothing is there twice.
  monitor.command(IDM_ALL_PROGRAMS);
  monitor.command(IDM_READ_AGAIN);
  fail();
  EXPECT_TRUE(monitor.shows(5));
}

TEST_F(MonitorOfTheLibrary, SettingsAreReadWrittenAndGreyWhereAPolicyDecides) {
  put(L"Default Action", 3, L"Software\\Policies\\");
  put(L"Debug Level", 0x5000 | edlTLogFile | 5);  // more than the highest that has a name
  const Log log;
  Monitor monitor(logOption(log));
  monitor.command(IDM_SETTINGS);
  const HWND dialog = monitor.dialog(L"Settings of the library");
  const auto item = [dialog](int id) { return GetDlgItem(dialog, id); };
  EXPECT_EQ(L"set for this user", monitor.text(item(IDC_LEVEL_ORIGIN)));
  EXPECT_EQ(L"not set: the default", monitor.text(item(IDC_LOG_FILE_ORIGIN)));
  EXPECT_EQ(L"decided by a policy", monitor.text(item(IDC_ACTION_ORIGIN)));
  EXPECT_TRUE(IsWindowEnabled(item(IDC_LOG_FILE)) && !IsWindowEnabled(item(IDC_ACTION)));
  EXPECT_EQ(BST_CHECKED, IsDlgButtonChecked(dialog, IDC_SHOW_CODES));

  SendMessageW(item(IDC_TO_TRACE), BM_CLICK, 0, 0);
  SendMessageW(item(IDC_BREAK), BM_CLICK, 0, 0);
  SendMessageW(dialog, WM_COMMAND, IDOK, 0);
  EXPECT_TRUE(eventually([&] { return !IsWindow(dialog); }));
  EXPECT_EQ(0x80005000 | edlTZTrace | edlTLogFile | 5, stored(L"Debug Level"));
  EXPECT_EQ(0xDEADu, stored(L"Default Action"));
}

}  // namespace
