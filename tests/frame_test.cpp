// The error frame from within: what is reported, what is raised, under which label.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <gtest/gtest.h>
#include <set>
#include <stdexcept>
#include <thread>
#include <tuple>

#include "automation/error.h"
#include "collection/zollection.h"
#include "companion/log_file.h"
#include "companion/trace_log.h"
#include "frame/mdlErrorHandling.h"
#include "frame/mdlGlobal.h"
#include "frame/mdlSupport.h"
#include "frame/mdlZTrace.h"
#include "frame/thread_state.h"
#include "support/files.h"
#include "support/gzsupport.h"
#include "support/trace_recorder.h"
#include "support/type_info.h"

using namespace zsupport;

namespace {

const Procedure kProcedure = {L"Zollection", L"Sub Test"};

std::wstring raisedSource(const std::function<void()>& body) {
  try {
    framed(kProcedure, body);
  } catch (const Error& error) {
    return error.source;
  }
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

const std::deque<ErrorReport>& reports() {
  return static_cast<TraceRecorder&>(*threadState().traceService).reports();
}

TEST(Frame, RecordsAndReturnsTheEmptyResultUntilErrorsAreRaised) {
  onFreshThread([] {
    EXPECT_EQ(0, framed(kProcedure, []() -> int { throw makeError(6); }));
    EXPECT_EQ(L"", framed(kProcedure, []() -> std::wstring { throw std::bad_alloc(); }));
    framed(kProcedure, [] { throw std::out_of_range("what"); });
    framed(kProcedure, [] { throw 1; });
    ASSERT_EQ(4u, reports().size());
    const ErrorReport& first = reports()[0];
    EXPECT_EQ(std::tuple(L"Zollection", L"Sub Test", L"Overflow"),
              std::tuple(first.ClassName, first.ProcName, first.error.description));
    EXPECT_EQ(std::tuple(7, L"what", E_UNEXPECTED),
              std::tuple(reports()[1].error.number, reports()[2].error.description,
                         reports()[3].error.number));
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
  const std::tuple<std::wstring, std::wstring> cases[] = {
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
    serviceFactory().makeContextService = [] {
      return std::unique_ptr<ContextService>(std::make_unique<Failing>());
    };
    framed(kProcedure, [] { throw makeError(6); });
    EXPECT_EQ(1u, reports().size()) << "without its context text";
  });
  onFreshThread([] {
    serviceFactory().makeTraceService = []() -> std::unique_ptr<TraceService> {
      throw std::bad_alloc();
    };
    try {
      throw makeError(6);
    } catch (...) {
      EXPECT_EQ(kNoAnswer, HandleError(L"Zollection", L"Sub Test", false, 0));
    }
  });
  serviceFactory() = before;
}

TEST(Trace, IsSetUpFromTheDebugLevel) {
  constexpr bool _ = false, x = true;
  const std::tuple<DWORD, bool, bool, bool, bool, bool, bool, LONG> cases[] = {
      {17, x, _, _, _, _, _, 0},
      {16, _, _, _, _, _, _, 0},
      {1 + 16 + 32 + 64 + 256, x, x, x, _, x, _, 0},
      {64, _, _, x, _, _, _, 0},
      {3 + 32 + 4096, _, x, _, x, _, _, 1},
      {0x80000011, x, _, _, _, _, x, 0},
  };
  const std::wstring key = AppRegRoot(false) + L"\\Debug";
  for (const auto& [level, file, eventLog, trace, asks, context, breaks, appBits] : cases) {
    RegSetKeyValueW(HKEY_CURRENT_USER, key.c_str(), L"Debug Level", REG_DWORD, &level, 4);
    onFreshThread([&] {
      framed(kProcedure, [] { throw makeError(6); });  // goes on without a debugger
      const auto& to = static_cast<TraceRecorder&>(*threadState().traceService);
      EXPECT_EQ(std::tuple(file, eventLog, trace, asks, context, breaks, appBits, appBits == 1),
                std::tuple(to.logFile, to.eventLog, to.zTrace, !to.belowARI, to.callStack,
                           DebugBreakOn(), DebugAppBits(), DebugAppBit(1)))
          << level;
    });
  }
  RegDeleteKeyW(HKEY_CURRENT_USER, key.c_str());
}

std::wstring temporaryLog() {
  wchar_t folder[MAX_PATH];
  GetTempPathW(MAX_PATH, folder);
  return std::wstring(folder) + L"ZSupportTest\\" + std::to_wstring(GetCurrentProcessId()) +
         L".log";
}

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
    return log.ReportError({L"Zollection",
                            L"Sub Add",
                            {7, L"caf\u00e9", description, {}, 0},
                            0,
                            L"in host.exe",
                            false,
                            0});
  }
  static HANDLE keptFrom(const std::wstring& file) {
    return CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_ALWAYS, 0,
                       nullptr);
  }
  static bool has(const std::wstring& file, const std::string& text) {
    return contentOf(file).find(text) != std::string::npos;
  }

  static constexpr wchar_t kTitle[] = L"ZSupport test log";
  const std::wstring path = temporaryLog(), old = path + L".old", older = path + L".older";
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
    EXPECT_EQ(kLeave, reportTo(path, description)) << "never retries for ever";
    const std::string line = contentOf(path);
    EXPECT_TRUE(has(path, "\tZollection\tSub Add\t7\tcaf\xC3\xA9\t" + shown + "\tin host.exe\r\n"))
        << line;
    EXPECT_EQ(1, std::count(line.begin(), line.end(), '\n'));
    DeleteFileW(path.c_str());
  }
}

TEST_F(Log, GoesToItsPathOrToTheDefaultOne) {
  const std::tuple<std::wstring, std::wstring> cases[] = {
      {L"", fallback},
      {L"Z:\\no\\such\\folder\\that\\can\\be\\made\\?\\x.log", fallback},
      {std::wstring(300, L'x'), fallback},
      {L"sub\\below.log", below},
      {path, path},
  };
  for (const auto& [set, written] : cases) {
    removeAll();
    reportTo(set);
    for (const std::wstring& file : {path, fallback, below}) {
      EXPECT_EQ(file == written, has(file, "\tSub Add\t")) << set;
    }
  }
}

TEST_F(Log, IsBoundedAndLosesNothingWhenItsOlderPartsAreInUse) {
  const std::wstring longText(200'000, L'x');
  for (int i = 0; i < 12; ++i) reportTo(path, longText);
  EXPECT_LE(contentOf(path).size(), kLogFileLimit);
  EXPECT_LE(contentOf(old).size(), kLogFileLimit);
  EXPECT_GT(contentOf(old).size(), kLogFileLimit / 2);

  const HANDLE oldInUse = keptFrom(old);
  for (int i = 0; i < 6; ++i) reportTo(path, longText);
  EXPECT_LE(contentOf(path).size(), kLogFileLimit);
  EXPECT_GT(contentOf(older).size(), kLogFileLimit / 2);
  const HANDLE olderInUse = keptFrom(older);
  for (int i = 0; i < 6; ++i) reportTo(path, longText);
  EXPECT_GT(contentOf(path).size(), kLogFileLimit);
  EXPECT_TRUE(has(path, "it grows on.\r\n"));
  CloseHandle(oldInUse);
  CloseHandle(olderInUse);
  reportTo(path);
  EXPECT_LE(contentOf(path).size(), 1000u) << "a new file at last";
}

TEST_F(Log, WaitsLongOnlyOnceForWhoeverHoldsIt) {
  reportTo(path);
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_TRUE(LockFile(file, 0x7FFFFFFF, 0, 1, 0));
  const DWORD start = GetTickCount();
  for (int i = 0; i < 3; ++i) reportTo(path);
  EXPECT_LT(GetTickCount() - start, 3500u);
  CloseHandle(file);
  const std::string content = contentOf(path);
  EXPECT_EQ(4, std::count(content.begin(), content.end(), '\n')) << "written all the same";
}

constexpr int kWriters = 3, kLines = 300, kFill = 1500;  // together more than one file holds

// What a writer process does: lines with its number.
void writeLines(const std::wstring& path, const std::wstring& writer) {
  for (int i = 0; i < kLines; ++i) {
    appendToLog(path, std::wstring(kFill, L'.') + L"<" + writer + L"." + std::to_wstring(i) + L">");
  }
}

TEST_F(Log, TakesThreeProcessesAtOnceWithoutLosingALine) {
  std::vector<HANDLE> processes;
  for (int i = 0; i < kWriters; ++i) {
    processes.push_back(startSelf(L"writer \"" + path + L"\" " + std::to_wstring(i)));
  }
  for (const HANDLE process : processes) {
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(process, 60'000));
    CloseHandle(process);
  }
  const std::string before = contentOf(old), content = before + contentOf(path);
  EXPECT_FALSE(before.empty()) << "renamed once, in the midst of it";
  std::set<std::string> lines;
  for (size_t start = 0, end; (end = content.find("\r\n", start)) != std::string::npos;
       start = end + 2) {
    EXPECT_EQ(kFill, std::count(content.begin() + static_cast<int>(start),
                                content.begin() + static_cast<int>(end), '.') -
                         1);
    EXPECT_TRUE(lines.insert(content.substr(start + kFill, end - start - kFill)).second)
        << "a line stands twice";
  }
  EXPECT_EQ(static_cast<size_t>(kWriters * kLines), lines.size());
  EXPECT_TRUE(lines.contains("<2.299>"));
}

VARTYPE typeIn(ITypeInfo* info, const TYPEDESC& description) {
  if (description.vt == VT_PTR) {
    const VARTYPE type = typeIn(info, *description.lptdesc);
    return type == VT_UNKNOWN ? type : static_cast<VARTYPE>(type | VT_BYREF);
  }
  if (description.vt == VT_SAFEARRAY)
    return static_cast<VARTYPE>(typeIn(info, *description.lptdesc) | VT_ARRAY);
  if (description.vt != VT_USERDEFINED) return description.vt;
  ComPtr<ITypeInfo> type;
  TYPEATTR* attributes;
  if (FAILED(info->GetRefTypeInfo(description.hreftype, type.put())) ||
      FAILED(type->GetTypeAttr(&attributes))) {
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
  UINT described = 0;
  forEachMember(info.get(), [&](const FUNCDESC& function) {
    const auto members = table.members();
    ASSERT_LT(described, members.size());
    const Member& member = members[described++];
    SCOPED_TRACE(function.memid);
    EXPECT_EQ(function.memid, member.id);
    EXPECT_EQ(function.invkind, member.kind);
    ASSERT_EQ(function.cParams, static_cast<SHORT>(member.parameters));
    EXPECT_EQ(typeIn(info.get(), function.elemdescFunc.tdesc), member.resultType);
    const size_t required = member.parameters - member.defaults.size();
    for (size_t p = 0; p < member.parameters; ++p) {
      const ELEMDESC& parameter = function.lprgelemdescParam[p];
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
  });
  EXPECT_EQ(table.members().size(), described);
}

TEST(MemberTables, AgreeWithTheTypeLibrary) {
  expectSame(ZollectionObject::members());
  expectSame(CollectionFace::members());
  expectSame(GZSupportObject::members());
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
