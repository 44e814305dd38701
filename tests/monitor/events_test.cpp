// What the monitor shows of objects' events, in its window and as text.
#include <windows.h>

#include "resource.h"
#include "support/com.h"
#include "support/files.h"
#include "support/monitor_window.h"
#include "support/test_log.h"
#include "support/test_source.h"

namespace {

constexpr int kEventColumns = 5;

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
  ASSERT_TRUE(monitor.shows(1));
  const Text megabyte(std::wstring(1'000'000, L'm'));
  LONG number = 5;
  source->fire(-600, {longValue(7), textValue(Text(L"a \"b\"")), reference(VT_I4, &number)});
  source->fire(9, {textValue(megabyte), missing(), objectValue(nullptr)});
  ASSERT_TRUE(monitor.shows(3));
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
  EXPECT_TRUE(monitor.shows(1'003));
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
  ASSERT_TRUE(monitor.shows(2));
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
  ASSERT_TRUE(monitor.shows(2));
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

TEST(MonitorWindow, ItsPlaceAndColumnsAreRemembered) {
  const Log log;
  const auto width = [](Monitor& monitor) {
    return SendMessageW(monitor.list(), LVM_GETCOLUMNWIDTH, 1, 0);
  };
  const auto placeOf = [](Monitor& monitor) {
    RECT place{};
    GetWindowRect(monitor.window(), &place);
    return std::tuple(place.left, place.top, place.right, place.bottom);
  };
  for (const int shift : {40, 0}) {
    {
      Monitor monitor(logOption(log));
      SetWindowPos(monitor.window(), nullptr, 10 + shift, 20, 700 + shift, 400, SWP_NOZORDER);
      SendMessageW(monitor.list(), LVM_SETCOLUMNWIDTH, 1, 100 + shift);
    }
    Monitor again(logOption(log));
    EXPECT_EQ(std::tuple(10 + shift, 20, 710 + 2 * shift, 420), placeOf(again));
    EXPECT_EQ(100 + shift, width(again));
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
