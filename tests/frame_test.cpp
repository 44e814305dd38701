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

TEST(Trace, WritesOneLinePerErrorAndNeverRetriesForEver) {
  const std::wstring path = temporaryLog();
  DeleteFileW(path.c_str());
  TraceLog log;
  log.AppTitle(L"ZSupport");
  log.LogFileEnabled(true);
  log.CallStackEnabled(true);
  log.DefaultAction(kRetry);
  ErrorReport report = {L"Zollection", L"Sub Add", makeError(7, L"caf\u00e9"), 0, L"in host.exe",
                        false,         0};
  report.error.description = L"two\r\nlines\tand a tab";
  log.LogFile(L"Z:\\no\\such\\folder\\that\\can\\be\\made\\?\\x.log");
  EXPECT_EQ(kLeave, log.ReportError(report)) << "nothing but the file is lost";
  log.LogFile(path);
  log.ReportError(report);
  const std::string line = contentOf(path);
  EXPECT_NE(
      std::string::npos,
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
  std::vector<HANDLE> processes;
  for (int i = 0; i < kWriters; ++i) {
    processes.push_back(startSelf(L"writer \"" + path + L"\" " + std::to_wstring(i)));
  }
  for (const HANDLE process : processes) {
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(process, 60'000));
    CloseHandle(process);
  }
  const std::string old = contentOf(path + L".old"), content = old + contentOf(path);
  EXPECT_FALSE(old.empty()) << "renamed once, in the midst of it";
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
  DeleteFileW(path.c_str());
  DeleteFileW((path + L".old").c_str());
}

const MemberTable* const kTables[] = {&ZollectionObject::members(), &CollectionFace::members(),
                                      &GZSupportObject::members()};

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

std::tuple<VARTYPE, LONG, std::wstring> valueOf(const Default& preset) {
  return {preset.type, preset.number, preset.text ? preset.text : L""};
}
std::tuple<VARTYPE, LONG, std::wstring> defaultOf(const PARAMDESC& described) {
  if (!(described.wParamFlags & PARAMFLAG_FHASDEFAULT))
    return {VT_ERROR, DISP_E_PARAMNOTFOUND, L""};
  const VARIANT& value = described.pparamdescex->varDefaultValue;
  if (V_VT(&value) == VT_BSTR) return {VT_BSTR, 0, std::wstring(viewOf(V_BSTR(&value)))};
  return {V_VT(&value), V_VT(&value) == VT_BOOL ? V_BOOL(&value) : V_I4(&value), L""};
}

// What the build listed of an interface is what the platform reads in the type library. That the
// C++ methods have these types is the compiler's to say.
void expectListed(const Member& member, ITypeInfo* info, const FUNCDESC& function) {
  SCOPED_TRACE(function.memid);
  EXPECT_EQ(std::tuple(function.memid, function.invkind, static_cast<size_t>(function.cParams)),
            std::tuple(member.id, static_cast<INVOKEKIND>(member.kind), member.parameters));
  std::vector<BSTR> names(1 + member.parameterNames.size());
  UINT count = 0;
  info->GetNames(function.memid, names.data(), static_cast<UINT>(names.size()), &count);
  ASSERT_EQ(names.size(), count);
  for (UINT i = 0; i < count; ++i) {
    EXPECT_EQ(viewOf(names[i]), i == 0 ? member.name : member.parameterNames[i - 1]);
    SysFreeString(names[i]);
  }
  EXPECT_EQ(typeIn(info, function.elemdescFunc.tdesc), member.resultType);
  const size_t required = member.parameters - member.defaults.size();
  for (size_t p = 0; p < member.parameters; ++p) {
    const ELEMDESC& parameter = function.lprgelemdescParam[p];
    EXPECT_EQ(typeIn(info, parameter.tdesc), member.types[p]) << "parameter " << p;
    EXPECT_EQ(p >= required, (parameter.paramdesc.wParamFlags & PARAMFLAG_FOPT) != 0) << p;
    if (p < required) continue;
    EXPECT_EQ(defaultOf(parameter.paramdesc), valueOf(member.defaults[p - required])) << p;
  }
}

TEST(MemberTables, AreWhatTheTypeLibrarySays) {
  for (const MemberTable* table : kTables) {
    ComPtr<ITypeInfo> info;
    ASSERT_EQ(S_OK, table->typeInfo(0, info.put()));
    UINT described = 0;
    forEachMember(info.get(), [&](const FUNCDESC& function) {
      ASSERT_LT(described, table->members().size());
      expectListed(table->members()[described++], info.get(), function);
    });
    EXPECT_EQ(table->members().size(), described);
  }
}

using Names = std::vector<std::wstring>;

// Result and ids.
std::pair<HRESULT, std::vector<DISPID>> answer(Names names, auto&& getIds) {
  std::vector<LPOLESTR> pointers;
  for (std::wstring& name : names) pointers.push_back(name.data());
  std::vector<DISPID> ids(names.size(), 77);
  const HRESULT result = getIds(pointers.data(), static_cast<UINT>(names.size()), ids.data());
  return {result, ids};
}

// What a name becomes by a slip, by case, and by characters that the platform may ignore or fold.
Names variationsOf(const std::wstring& name) {
  Names variations = {name, L""};
  for (size_t i = 0; i < name.size(); ++i) {
    const wchar_t letter = name[i];
    const wchar_t* const others[] = {L"", L"\u00e9", L"\u00ad", L"\u200d", L"@", L"[", L"_"};
    for (const wchar_t other : {static_cast<wchar_t>(letter ^ 0x20), L'\u0130', L'\u212a',
                                static_cast<wchar_t>(letter + 0xFEE0)}) {
      variations.push_back(name.substr(0, i) + other + name.substr(i + 1));
    }
    for (const wchar_t* other : others) {
      variations.push_back(name.substr(0, i) + other + name.substr(i + 1));
      variations.push_back(name.substr(0, i) + other + name.substr(i));
    }
  }
  return variations;
}

TEST(MemberTables, KnowTheNamesThatThePlatformKnows) {
  for (const MemberTable* table : kTables) {
    ComPtr<ITypeInfo> info;
    ASSERT_EQ(S_OK, table->typeInfo(0, info.put()));
    const auto expectSame = [&](const Names& names) {
      EXPECT_EQ(answer(names, [&](auto... to) { return info->GetIDsOfNames(to...); }),
                answer(names, [&](auto... to) { return table->idsOfNames(to...); }))
          << names[0] << L" " << names.back();
    };
    std::set<std::wstring> parameters = {L"NoSuchName"};
    for (const Member& member : table->members()) {
      parameters.insert(member.parameterNames.begin(), member.parameterNames.end());
    }
    for (const Member& member : table->members()) {
      for (const std::wstring& variation : variationsOf(member.name)) expectSame({variation});
      for (const std::wstring& parameter : parameters) {
        expectSame({member.name, parameter});
        expectSame({member.name, L"nothing", parameter, L"KEY", parameter});
      }
    }
    for (const wchar_t* inherited : {L"QueryInterface", L"release", L"Invoke"}) {
      expectSame({inherited, L"riid"});
    }
  }
  LPOLESTR none = nullptr;
  DISPID id = 0;
  EXPECT_EQ(E_POINTER, kTables[0]->idsOfNames(&none, 1, &id));
  EXPECT_EQ(DISPID_UNKNOWN, id);
  EXPECT_EQ(E_INVALIDARG, kTables[0]->idsOfNames(&none, 0, &id));
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
