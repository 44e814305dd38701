// The error frame from within: what is reported, what is raised, under which label.
#include <windows.h>

#include <deque>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>
#include <tuple>

#include "automation/error.h"
#include "companion/trace_service.h"
#include "frame/mdlErrorHandling.h"
#include "frame/mdlGlobal.h"
#include "frame/mdlSupport.h"
#include "frame/mdlZTrace.h"
#include "frame/thread_state.h"
#include "support/gzsupport.h"

using namespace zsupport;

// What a writer process of log_test.cpp does.
void writeLines(const std::wstring& path, const std::wstring& writer);

namespace {

// Keeps the last reports in memory.
class TraceRecorder final : public TraceService {
 public:
  const std::deque<ErrorReport>& reports() const { return reports_; }
  bool raisesErrors() const { return raiseErrors_; }

  void RaiseErrors(bool raise) override { raiseErrors_ = raise; }
  void LogFileEnabled(bool enabled) override { logFile = enabled; }
  void BelowARILevel(bool below) override { belowARI = below; }
  void DefaultAction(LONG) override {}
  void LogFile(const std::wstring&) override {}
  void ContextService(class ContextService*) override {}
  void AppTitle(const std::wstring&) override {}
  void AppVersion(const VersionStampRecord&) override {}
  void CallStackEnabled(bool enabled) override { callStack = enabled; }
  LONG ReportError(const ErrorReport& report) override {
    reports_.push_back(report);
    return 0;
  }
  void EventLogEnabled(bool enabled) override { eventLog = enabled; }
  void ZTraceEnabled(bool enabled) override { zTrace = enabled; }

  bool logFile = false, belowARI = false, callStack = false, eventLog = false, zTrace = false;

 private:
  std::deque<ErrorReport> reports_;
  bool raiseErrors_ = false;
};

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
      {L"system\\zsupport.x", label + L"!system\\zsupport.x"},
      {L"System\\ZSupport.Zollection::Sub Inner!Zollection.Inner", label},
      {L"System\\ZSupport", label},
  };
  onFreshThread([&] {
    for (const auto& [source, labelled] : cases) {
      EXPECT_EQ(labelled, raisedSource([&] { raiseOwn(5, source.c_str()); }));
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
  serviceFactory() = before;
}

TEST(Trace, IsSetUpFromTheDebugLevel) {
  constexpr bool _ = false, x = true;
  const std::tuple<DWORD, bool, bool, bool, bool, bool, bool, LONG> cases[] = {
      {17, x, _, _, _, _, _, 0},
      {1 + 16 + 32 + 64 + 256, x, x, x, _, x, _, 0},
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
