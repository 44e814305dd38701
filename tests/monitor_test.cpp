// The monitor, from the outside: what it shows of logs, debug output and events, and what it makes
// of bad input.
#include <algorithm>
#include <random>
#include <set>
#include <utility>

#include "log_file.h"
#include "resource.h"
#include "support/com.h"
#include "support/files.h"
#include "support/monitor_window.h"
#include "support/test_source.h"

namespace {

constexpr int kTraceColumns = 9, kEventColumns = 5;
constexpr int kFileName = 0x47C;  // of the platform's file dialogs

std::wstring temporary(const wchar_t* name) {
  wchar_t folder[MAX_PATH];
  GetTempPathW(MAX_PATH, folder);
  return std::wstring(folder) + name;
}

class Log {
 public:
  explicit Log(const wchar_t* name = L"monitor test.log") : path(temporary(name)) { remove(); }
  ~Log() { remove(); }

  void append(const std::string& bytes) const { append(bytes, path); }
  static void append(const std::string& bytes, const std::wstring& path) {
    FILE* const file = _wfopen(path.c_str(), L"ab");
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
  }
  void roll() const {
    MoveFileExW(path.c_str(), (path + L".old").c_str(), MOVEFILE_REPLACE_EXISTING);
  }

  const std::wstring path;

 private:
  void remove() const {
    for (const wchar_t* const end : {L"", L".old", L".older"}) DeleteFileW((path + end).c_str());
  }
};

// Each at a time of its own.
std::string record(const std::string& description, const std::string& number = "5") {
  static int count = 0;
  const int milliseconds = ++count;
  char time[32];
  std::snprintf(time, sizeof time, "2026-01-31 14:%02d:%02d.%03d", milliseconds / 60'000,
                milliseconds / 1000 % 60, milliseconds % 1000);
  return std::string(time) + "\tZSupport 1.0.0\t4000000\t8\tZollection\tSub Add\t" + number +
         "\tSystem\\\\ZSupport.Zollection::Sub Add!Zollection.Add\t" + description +
         "\tin tool.exe\r\n";
}

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

std::wstring logOption(const Log& log) { return L"--log \"" + log.path + L'"'; }

TEST(MonitorTraces, ALogThatGrowsRollsAndIsDamagedIsFollowed) {
  const Log log;
  log.append(record("older"));
  log.roll();
  log.append(record("tab\\tline\\r\\n\\u2028 backslash \\\\", "0x80040001"));
  Monitor monitor(logOption(log));
  ASSERT_TRUE(eventually([&] { return monitor.rows() == 2; }));
  EXPECT_EQ(
      L"tool.exe|4000000|8|Zollection|Sub Add|5|System\\ZSupport.Zollection::Sub "
      L"Add!Zollection.Add|older",
      monitor.row(0, kTraceColumns));
  EXPECT_EQ(L"tab line    backslash \\", monitor.cell(1, 8));

  const std::string begun = record("begun");
  log.append(begun.substr(0, 50));
  log.append(begun.substr(50) + "2026-01-31 14:05:09.250\tZSup");
  log.append("\r\n\xFF\xFE no UTF-8\r\n" + record("bad escape \\x"));
  ASSERT_TRUE(eventually([&] { return monitor.rows() == 6; }));
  EXPECT_EQ(L"begun", monitor.cell(2, 8));
  for (const size_t row : {3u, 4u, 5u}) EXPECT_EQ(L"(damaged line)", monitor.cell(row, 4));

  log.append(record("last before the roll"));
  log.roll();
  log.append(record("first after it"));
  ASSERT_TRUE(eventually([&] { return monitor.rows() == 8; }));
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
    EXPECT_TRUE(eventually([&] { return monitor.rows() == 1; }));
    log.append(record("second"));
    EXPECT_TRUE(eventually([&] { return monitor.rows() == 2; }));
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
  EXPECT_TRUE(eventually([&] { return monitor.rows() == 1; }));
}

TEST(MonitorTraces, AHundredThousandRecordsAreFilteredSortedHeldAndSaved) {
  const Log log;
  std::string records;
  for (int i = 0; i < 100'000; ++i)
    records += record("number " + std::to_string(i), std::to_string(i % 7));
  log.append(records);
  Monitor monitor(logOption(log));
  ASSERT_TRUE(eventually([&] { return monitor.rows() == 100'000; }));

  const HWND filter = monitor.control(WC_EDITW);
  const ULONGLONG start = GetTickCount64();
  monitor.type(filter, L"NUMBER 9999");
  EXPECT_TRUE(eventually([&] { return monitor.rows() == 11; }));
  EXPECT_GT(2'000u, GetTickCount64() - start);
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
  EXPECT_TRUE(eventually([&] { return monitor.rows() == 12; }));
  // It has come to the end or before the chosen one, which stays chosen.
  const size_t chosen = static_cast<size_t>(
      SendMessageW(monitor.list(), LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED));
  EXPECT_EQ(L"number 9999", monitor.cell(chosen, 8));

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
  monitor.command(IDM_ALL_PROGRAMS);
  EXPECT_TRUE(eventually([&] {
    OutputDebugStringW(std::wstring(10'000, L'x').c_str());
    Sleep(250);  // it may go on meanwhile
    return monitor.rows() > 2;
  }));
  EXPECT_EQ(L'x', monitor.cell(2, 8).back());
  EXPECT_EQ(L"", monitor.cell(2, 4));
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

// A source of this process, registered as running.
class MonitorEvents : public testing::Test {
 protected:
  MonitorEvents() {
    source->behaviour.described = nullptr;
    source->behaviour.events = IID_IDispatch;
    source->behaviour.enumerates = true;
    IRunningObjectTable* table = nullptr;
    IMoniker* moniker = nullptr;
    GetRunningObjectTable(0, &table);
    CreateItemMoniker(L"!", L"ZSupport monitor test", &moniker);
    table->Register(ROTFLAGS_REGISTRATIONKEEPSALIVE, static_cast<IDispatch*>(source.get()), moniker,
                    &cookie_);
    moniker->Release();
    table_ = ComPtr<IRunningObjectTable>::attach(table);
  }
  ~MonitorEvents() override { table_->Revoke(cookie_); }

  const ComPtr<TestSource> source = TestSource::make();

 private:
  ComPtr<IRunningObjectTable> table_;
  DWORD cookie_ = 0;
};

TEST_F(MonitorEvents, OfARunningObjectArriveWithTheirArguments) {
  Monitor monitor(L"--running \"!ZSupport monitor test\"");
  ASSERT_TRUE(eventually([&] { return monitor.rows() == 1; })) << monitor.status();
  const Text megabyte(std::wstring(1'000'000, L'm'));
  LONG number = 5;
  source->fire(-600, {longValue(7), textValue(Text(L"a \"b\"")), reference(VT_I4, &number)});
  source->fire(9, {textValue(megabyte), missing(), objectValue(nullptr)});
  ASSERT_TRUE(eventually([&] { return monitor.rows() == 3; }))
      << monitor.rows() << source->sinks.size() << monitor.status();
  EXPECT_EQ(L"1|!ZSupport monitor test|Click|7 (Long), \"a \"b\"\" (String), 5 (Long)",
            monitor.row(1, kEventColumns));
  EXPECT_EQ(L"9", monitor.cell(2, 3));
  monitor.choose(monitor.list(), 2);
  EXPECT_TRUE(eventually([&] {
    return monitor.text(monitor.control(WC_EDITW, 6)).find(L"of 1,000,000 characters") !=
           std::wstring::npos;
  }));

  // A thousand as fast as they go, while the window answers.
  for (int i = 0; i < 1'000; ++i) source->fire(1);
  EXPECT_TRUE(eventually([&] { return monitor.rows() == 1'003; }));
  EXPECT_TRUE(monitor.says(L"1,003 rows", 1));
  monitor.command(IDM_IDS);
  EXPECT_TRUE(eventually([&] {
    source->fire(-600);
    return monitor.cell(monitor.rows() - 1, 3) == L"-600";
  }));
  // It dies.
  CoDisconnectObject(static_cast<IDispatch*>(source.get()), 0);
  monitor.type(monitor.control(WC_EDITW, 3), L"Name");
  monitor.command(IDM_GET);
  EXPECT_TRUE(monitor.says(L"Name: "));
  monitor.command(IDM_REMOVE);
  EXPECT_TRUE(eventually([&] { return monitor.cell(monitor.rows() - 1, 3) == L"(removed)"; }));
}

TEST_F(MonitorEvents, AnObjectThatCannotBeHeardOffersItsOtherInterfaces) {
  Monitor monitor(L"--events No.Such.Class");  // to the right view
  EXPECT_TRUE(monitor.says(L"There is no class No.Such.Class"));
  const HWND interfaces = monitor.control(WC_COMBOBOXW, 1);
  monitor.type(monitor.control(WC_COMBOBOXW), L"!ZSupport monitor test");
  monitor.type(interfaces, kUnknownSource);
  monitor.command(IDM_WATCH_RUNNING);
  EXPECT_TRUE(monitor.says(L"it has no connection point for the interface. Choose another"));
  EXPECT_EQ(L"ConnectionFailed", monitor.cell(1, 3));
  EXPECT_EQ(3, SendMessageW(interfaces, CB_GETCOUNT, 0, 0));
  struct Choice {
    const wchar_t *id, *answer;
    size_t sinks;
  };
  for (const Choice& each : {Choice{L"(none)", L"without events", 0},
                             {L"{00020400-0000-0000-C000-000000000046}", L"is watched", 1}}) {
    monitor.type(interfaces, each.id);
    monitor.command(IDM_WATCH_RUNNING);
    EXPECT_TRUE(monitor.says(each.answer));
    EXPECT_EQ(each.sinks, source->sinks.size());
  }
}

TEST(MonitorWindow, ObjectsAreMadeWorkedAndLetGo) {
  Monitor monitor(L"--events Shell.Explorer.2 --set Visible=True");
  ASSERT_TRUE(eventually([&] { return monitor.rows() == 2; }));
  EXPECT_EQ(L"1|Shell.Explorer.2|OnVisible|True (Boolean)", monitor.row(1, kEventColumns));
  const HWND name = monitor.control(WC_EDITW, 3), arguments = monitor.control(WC_EDITW, 4);
  monitor.type(name, L"MenuBar");
  struct Step {
    int command;
    const wchar_t *arguments, *answer;
  };
  for (const Step& step : {Step{IDM_SET, L"True", L"MenuBar is set"},
                           {IDM_GET, L"", L"MenuBar = True (Boolean)"},
                           {IDM_SET, L"1, \"two\" 3", L"Values are parted by commas: 3"},
                           {IDM_SET, L"two", L"two is no value: texts stand in quotation marks"},
                           {IDM_CALL, L"", L"MenuBar"}}) {
    monitor.type(arguments, step.arguments);
    monitor.command(step.command);
    EXPECT_TRUE(monitor.says(step.answer)) << step.answer << monitor.status();
  }
  monitor.command(IDM_REMOVE);
  EXPECT_TRUE(eventually([&] { return monitor.cell(monitor.rows() - 1, 3) == L"(removed)"; }));
  monitor.command(IDM_REMOVE);
  EXPECT_TRUE(monitor.says(L"No object is chosen"));

  const HWND classBox = monitor.control(WC_COMBOBOXW);
  EXPECT_TRUE(eventually([&] {
    return SendMessageW(classBox, CB_FINDSTRINGEXACT, 0,
                        reinterpret_cast<LPARAM>(L"Shell.Explorer.2")) >= 0;
  }));
  for (const auto& [text, answer] :
       {std::pair{L"No.Such.Class", L"There is no class No.Such.Class"},
        {L"Scripting.FileSystemObject", L"is no event source"},
        {L"", L"A class needs a name"}}) {
    monitor.type(classBox, text);
    monitor.command(IDM_WATCH_NEW);
    EXPECT_TRUE(monitor.says(answer)) << answer;
  }
}

TEST(MonitorText, PrintsWhatTheViewsShow) {
  const Log log;
  log.append(record("line\\nbroken"));
  const std::wstring path = temporary(L"monitor test.out");
  struct Case {
    std::wstring options;
    DWORD exitCode;
    const char* output;
  };
  for (const Case& each :
       {Case{L"--text --seconds 0 " + logOption(log), 0,
             "\tSub Add\t5\tSystem\\ZSupport.Zollection::Sub Add!Zollection.Add\tline broken\n"},
        {L"--text --seconds 0 --events Shell.Explorer.2 --set MenuBar=True --ids", 0,
         "\t1\tShell.Explorer.2\t256\tTrue (Boolean)\n"},
        {L"--text --events No.Such.Class", 1, "There is no class No.Such.Class"},
        {L"--log", 2, "--log needs a value"},
        {L"--help", 0, "usage: ZSupportMonitor"}}) {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    const HANDLE output = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited,
                                      CREATE_ALWAYS, 0, nullptr);
    Monitor monitor(each.options, output);
    EXPECT_EQ(each.exitCode, monitor.exitCode());
    CloseHandle(output);
    EXPECT_NE(std::string::npos, contentOf(path).find(each.output)) << contentOf(path);
  }
  DeleteFileW(path.c_str());
}

}  // namespace
