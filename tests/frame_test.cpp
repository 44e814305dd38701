// The error frame from within: what is reported, what is raised, under which label.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <gtest/gtest.h>
#include <set>
#include <stdexcept>
#include <thread>

#include "automation/error.h"
#include "collection/zollection.h"
#include "companion/log_file.h"
#include "companion/trace_log.h"
#include "frame/mdlErrorHandling.h"
#include "frame/mdlGlobal.h"
#include "frame/mdlSupport.h"
#include "frame/mdlZTrace.h"
#include "frame/thread_state.h"
#include "support/gzsupport.h"
#include "support/trace_recorder.h"

using namespace zsupport;

namespace {

const Procedure kProcedure = {L"Zollection", L"Sub Test"};

std::wstring raisedSource(const std::function<void()>& body) {
  try {
    framed(kProcedure, body);
  } catch (const Error& error) { return error.source; }
  return L"(not raised)";
}

// Every test on a thread of its own: the frame's state is the thread's.
template <class Body>
void onFreshThread(Body&& body) {
  std::thread([&] {
    body();
    discardThreadState();
  }).join();
}

const std::deque<ErrorReport>& reports() { return static_cast<TraceRecorder&>(*threadState().traceService).reports(); }

TEST(Frame, RecordsAndReturnsTheEmptyResultUntilErrorsAreRaised) {
  onFreshThread([] {
    EXPECT_EQ(0, framed(kProcedure, []() -> int { throw makeError(6); }));
    EXPECT_EQ(L"", framed(kProcedure, []() -> std::wstring { throw std::bad_alloc(); }));
    framed(kProcedure, [] { throw std::out_of_range("what"); });
    framed(kProcedure, [] { throw 1; });
    ASSERT_EQ(4u, reports().size());
    EXPECT_EQ(L"Zollection", reports()[0].ClassName);
    EXPECT_EQ(L"Sub Test", reports()[0].ProcName);
    EXPECT_EQ(L"Overflow", reports()[0].error.description);
    EXPECT_EQ(7, reports()[1].error.number);
    EXPECT_EQ(L"what", reports()[2].error.description);
    EXPECT_EQ(E_UNEXPECTED, reports()[3].error.number);
    EXPECT_FALSE(reports()[0].ContextText.empty());

    SetRaiseErrors(true);
    EXPECT_TRUE(static_cast<TraceRecorder&>(*threadState().traceService).raisesErrors());
    EXPECT_THROW(framed(kProcedure, [] { throw makeError(6); }), Error);
    EXPECT_TRUE(threadState().RaiseErrors) << "for the life of the thread";
  });
  onFreshThread([] { EXPECT_FALSE(threadState().RaiseErrors); });
}

TEST(Frame, LabelsSources) {
  const std::wstring label = L"System\\ZSupport.Zollection::Sub Test";
  const struct {
    std::wstring source, labelled;
  } cases[] = {
      {L"Zollection.Add", label + L"!Zollection.Add"},
      {L"", label + L"!"},
      {L"System", label + L"!System"},
      {L"system\\zsupport.x", label + L"!system\\zsupport.x"},
      {L"System\\ZSupport.Zollection::Sub Inner!Zollection.Inner", label},
      {L"System\\ZSupport", label},
  };
  onFreshThread([&] {
    for (const auto& [source, labelled] : cases) {
      EXPECT_EQ(labelled, raisedSource([&] { raiseOwn(5, source); }));
    }
  });
}

TEST(Frame, LeavesWhenItsServicesFail) {
  class Failing final : public ContextService {
    std::wstring ContextText(LONG&, LONG) override { throw std::bad_alloc(); }
  };
  const ServiceFactory before = serviceFactory();
  onFreshThread([] {
    serviceFactory().makeContextService = []() -> std::unique_ptr<ContextService> {
      return std::make_unique<Failing>();
    };
    framed(kProcedure, [] { throw makeError(6); });
    EXPECT_EQ(1u, reports().size()) << "without its context text";
  });
  onFreshThread([] {
    serviceFactory().makeTraceService = []() -> std::unique_ptr<TraceService> { throw std::bad_alloc(); };
    try {
      throw makeError(6);
    } catch (...) { EXPECT_EQ(kNoAnswer, HandleError(L"Zollection", L"Sub Test", false, 0)); }
  });
  serviceFactory() = before;
}

// Settings under the library's own key, for the length of a test.
class DebugSettings {
 public:
  DebugSettings(DWORD level, const std::wstring& logFile = L"", DWORD action = 3) {
    RegCreateKeyW(HKEY_CURRENT_USER, (AppRegRoot(false) + L"\\Debug").c_str(), &key_);
    RegSetValueExW(key_, L"Debug Level", 0, REG_DWORD, reinterpret_cast<BYTE*>(&level), 4);
    RegSetValueExW(key_, L"Default Action", 0, REG_DWORD, reinterpret_cast<BYTE*>(&action), 4);
    RegSetValueExW(key_, L"LogFile", 0, REG_SZ, reinterpret_cast<const BYTE*>(logFile.c_str()),
                   static_cast<DWORD>(2 * logFile.size() + 2));
  }
  DebugSettings(const DebugSettings&) = delete;
  DebugSettings& operator=(const DebugSettings&) = delete;
  ~DebugSettings() {
    RegCloseKey(key_);
    RegDeleteKeyW(HKEY_CURRENT_USER, (AppRegRoot(false) + L"\\Debug").c_str());
  }

 private:
  HKEY key_;
};

TEST(Trace, IsSetUpFromTheDebugLevel) {
  const struct {
    DWORD level;
    bool file, eventLog, trace, ask, context, breaks;
    LONG appBits;
  } cases[] = {
      {17, true, false, false, false, false, false, 0},
      {16, false, false, false, false, false, false, 0},
      {64, false, false, true, false, false, false, 0},
      {1 + 16 + 32 + 64 + 256, true, true, true, false, true, false, 0},
      {3 + 32 + 4096, false, true, false, true, false, false, 1},
      {0x80000011, true, false, false, false, false, true, 0x80000 & 0x7FFFF},
  };
  for (const auto& [level, file, eventLog, trace, asks, context, breaks, appBits] : cases) {
    const DebugSettings settings(level);
    onFreshThread([&] {
      framed(kProcedure, [] { throw makeError(6); });  // goes on without a debugger
      const auto& service = static_cast<TraceRecorder&>(*threadState().traceService);
      EXPECT_EQ(file, service.logFile);
      EXPECT_EQ(eventLog, service.eventLog);
      EXPECT_EQ(trace, service.zTrace);
      EXPECT_EQ(asks, !service.belowARI);
      EXPECT_EQ(context, service.callStack);
      EXPECT_EQ(breaks, DebugBreakOn());
      EXPECT_EQ(appBits, DebugAppBits());
      EXPECT_EQ(appBits == 1, DebugAppBit(1));
    });
  }
}

std::wstring temporaryLog() {
  wchar_t folder[MAX_PATH];
  GetTempPathW(MAX_PATH, folder);
  return std::wstring(folder) + L"ZSupportTest\\" + std::to_wstring(GetCurrentProcessId()) + L".log";
}

std::string contentOf(const std::wstring& path) {
  std::string content;
  if (FILE* const file = _wfopen(path.c_str(), L"rb")) {
    char buffer[4096];
    for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, file)) > 0;) content.append(buffer, n);
    std::fclose(file);
  }
  return content;
}

TEST(Trace, WritesOneLinePerErrorAndNeverRetriesForEver) {
  const std::wstring path = temporaryLog();
  DeleteFileW(path.c_str());
  TraceLog log;
  log.AppTitle(L"ZSupport");
  log.LogFileEnabled(true);
  log.CallStackEnabled(true);
  log.DefaultAction(kRetry);
  ErrorReport report = {L"Zollection", L"Sub Add", makeError(7, L"caf\u00e9"), 0, L"in host.exe", false, 0};
  report.error.description = L"two\r\nlines\tand a tab";
  log.LogFile(L"Z:\\no\\such\\folder\\that\\can\\be\\made\\?\\x.log");
  EXPECT_EQ(kLeave, log.ReportError(report)) << "nothing but the file is lost";
  log.LogFile(path);
  log.ReportError(report);
  const std::string line = contentOf(path);
  EXPECT_NE(std::string::npos,
            line.find("\tZollection\tSub Add\t7\tcaf\xC3\xA9\ttwo\\r\\nlines and a tab\tin host.exe\r\n"))
      << line;
  EXPECT_EQ(1, std::count(line.begin(), line.end(), '\n'));

  report.error.description.assign(200'000, L'x');
  for (int i = 0; i < 12; ++i) log.ReportError(report);
  EXPECT_LE(contentOf(path).size(), kLogFileLimit);
  EXPECT_LE(contentOf(path + L".old").size(), kLogFileLimit);
  EXPECT_GT(contentOf(path + L".old").size(), kLogFileLimit / 2);
  DeleteFileW(path.c_str());
  DeleteFileW((path + L".old").c_str());
}

constexpr int kWriters = 3, kLines = 300, kFill = 1500;  // together more than one file holds

// What a writer process does: lines with its number.
void writeLines(const std::wstring& path, const std::wstring& writer) {
  for (int i = 0; i < kLines; ++i) {
    appendToLog(path, std::wstring(kFill, L'.') + L"<" + writer + L"." + std::to_wstring(i) + L">");
  }
}

TEST(Trace, TakesThreeProcessesAtOnceWithoutLosingALine) {
  const std::wstring path = temporaryLog();
  DeleteFileW(path.c_str());
  wchar_t self[MAX_PATH];
  GetModuleFileNameW(nullptr, self, MAX_PATH);
  std::vector<HANDLE> processes;
  for (int i = 0; i < kWriters; ++i) {
    std::wstring command = L"\"" + std::wstring(self) + L"\" writer \"" + path + L"\" " + std::to_wstring(i);
    STARTUPINFOW start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION process;
    ASSERT_TRUE(CreateProcessW(self, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &process));
    CloseHandle(process.hThread);
    processes.push_back(process.hProcess);
  }
  for (const HANDLE process : processes) {
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(process, 60'000));
    CloseHandle(process);
  }
  const std::string old = contentOf(path + L".old"), content = old + contentOf(path);
  EXPECT_FALSE(old.empty()) << "renamed once, in the midst of it";
  std::set<std::string> lines;
  for (size_t start = 0, end; (end = content.find("\r\n", start)) != std::string::npos; start = end + 2) {
    EXPECT_EQ(kFill,
              std::count(content.begin() + static_cast<int>(start), content.begin() + static_cast<int>(end), '.') - 1);
    EXPECT_TRUE(lines.insert(content.substr(start + kFill, end - start - kFill)).second) << "a line stands twice";
  }
  EXPECT_EQ(static_cast<size_t>(kWriters * kLines), lines.size());
  EXPECT_TRUE(lines.contains("<2.299>"));
  DeleteFileW(path.c_str());
  DeleteFileW((path + L".old").c_str());
}

VARTYPE typeIn(ITypeInfo* info, const TYPEDESC& description) {
  if (description.vt == VT_PTR) {
    const VARTYPE type = typeIn(info, *description.lptdesc);
    return type == VT_UNKNOWN ? type : static_cast<VARTYPE>(type | VT_BYREF);
  }
  if (description.vt == VT_SAFEARRAY) return static_cast<VARTYPE>(typeIn(info, *description.lptdesc) | VT_ARRAY);
  if (description.vt != VT_USERDEFINED) return description.vt;
  ComPtr<ITypeInfo> type;
  TYPEATTR* attributes;
  if (FAILED(info->GetRefTypeInfo(description.hreftype, type.put())) || FAILED(type->GetTypeAttr(&attributes))) {
    return VT_EMPTY;
  }
  const VARTYPE result = attributes->typekind == TKIND_RECORD ? VT_RECORD
                         : attributes->typekind == TKIND_ENUM ? VT_I4
                                                              : VT_UNKNOWN;
  type->ReleaseTypeAttr(attributes);
  return result;
}

// The table behind late binding and the type library say the same, member by member.
void expectSame(const MemberTable& table) {
  ComPtr<ITypeInfo> info;
  ASSERT_EQ(S_OK, table.typeInfo(0, info.put()));
  TYPEATTR* attributes;
  ASSERT_EQ(S_OK, info->GetTypeAttr(&attributes));
  UINT described = 0;
  for (UINT i = 0; i < attributes->cFuncs; ++i) {
    FUNCDESC* function;
    ASSERT_EQ(S_OK, info->GetFuncDesc(i, &function));
    if (!(function->wFuncFlags & FUNCFLAG_FRESTRICTED)) {
      const auto members = table.members();
      ASSERT_LT(described, members.size());
      const Member& member = members[described++];
      SCOPED_TRACE(function->memid);
      EXPECT_EQ(function->memid, member.id);
      EXPECT_EQ(function->invkind, member.kind);
      ASSERT_EQ(function->cParams, static_cast<SHORT>(member.parameters));
      EXPECT_EQ(typeIn(info.get(), function->elemdescFunc.tdesc), member.resultType);
      const size_t required = member.parameters - member.defaults.size();
      for (size_t p = 0; p < member.parameters; ++p) {
        const ELEMDESC& parameter = function->lprgelemdescParam[p];
        EXPECT_EQ(typeIn(info.get(), parameter.tdesc), member.types[p]) << "parameter " << p;
        const USHORT flags = parameter.paramdesc.wParamFlags;
        EXPECT_EQ(p >= required, (flags & PARAMFLAG_FOPT) != 0) << "parameter " << p;
        if (p < required) continue;
        const Default& preset = member.defaults[p - required];
        ASSERT_EQ(preset.type != VT_ERROR, (flags & PARAMFLAG_FHASDEFAULT) != 0);
        if (preset.type == VT_ERROR) continue;
        const VARIANT& value = parameter.paramdesc.pparamdescex->varDefaultValue;
        EXPECT_EQ(preset.type, V_VT(&value));
        const bool isText = preset.type == VT_BSTR;
        EXPECT_EQ(isText ? preset.text : L"", isText ? viewOf(V_BSTR(&value)) : L"");
        EXPECT_EQ(preset.number, isText ? 0 : preset.type == VT_BOOL ? V_BOOL(&value) : V_I4(&value));
      }
    }
    info->ReleaseFuncDesc(function);
  }
  EXPECT_EQ(table.members().size(), described);
  info->ReleaseTypeAttr(attributes);
}

TEST(MemberTables, AgreeWithTheTypeLibrary) {
  expectSame(ZollectionObject::members());
  expectSame(CollectionFace::members());
  expectSame(GZSupportObject::members());
}

TEST(Frame, KnowsItsOwnPlaceAndVersion) {
  onFreshThread([] {
    EXPECT_EQ(L"Software\\Zarnow Instruments Ltd.\\System\\ZSupport", AppRegRoot(false));
    EXPECT_EQ(L"Software\\Policies\\Zarnow Instruments Ltd.\\System\\ZSupport", AppRegRoot(true));
    EXPECT_EQ(1, AppVersionStamp().Major);
    EXPECT_EQ(0, AppVersionStamp().ReleaseType);
  });
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (argc == 4 && std::wstring(argv[1]) == L"writer") {
    writeLines(argv[2], argv[3]);
    return 0;
  }
  testing::InitGoogleTest(&argc, argv);
  if (!openThreadStates()) return 1;
  setSupportFactory(createSupportObject);
  serviceFactory().makeTraceService = []() -> std::unique_ptr<TraceService> {
    return std::make_unique<TraceRecorder>();
  };
  return RUN_ALL_TESTS();
}
