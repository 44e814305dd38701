// The error frame from within: what is reported, what is raised, under which label.
#include <windows.h>

#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>
#include <tuple>
#include <vector>

#include "automation/error.h"
#include "companion/trace_service.h"
#include "frame/mdlErrorHandling.h"
#include "frame/mdlGlobal.h"
#include "frame/mdlSupport.h"
#include "frame/mdlZTrace.h"
#include "frame/thread_state.h"
#include "support/gzsupport.h"

using namespace zsupport;

namespace {

// Keeps the last reports in memory.
class TraceRecorder final : public TraceService {
 public:
  void RaiseErrors(bool raise) override { raiseErrors = raise; }
  void LogFileEnabled(bool enabled) override { logFile = enabled; }
  void BelowARILevel(bool below) override { belowARI = below; }
  void DefaultAction(LONG) override {}
  void LogFile(const std::wstring&) override {}
  void ContextService(class ContextService*) override {}
  void AppTitle(const std::wstring&) override {}
  void AppVersion(const VersionStampRecord&) override {}
  void CallStackEnabled(bool enabled) override { callStack = enabled; }
  LONG ReportError(const ErrorReport& report) override {
    reports.push_back(report);
    return 0;
  }
  void EventLogEnabled(bool enabled) override { eventLog = enabled; }
  void ZTraceEnabled(bool enabled) override { zTrace = enabled; }

  std::vector<ErrorReport> reports;
  bool raiseErrors = false, logFile = false, belowARI = false, callStack = false, eventLog = false,
       zTrace = false;
};
// Fails, and nothing else comes of it.
class FailingContext final : public ContextService {
  std::wstring ContextText(LONG&, LONG) override { throw std::bad_alloc(); }
};

TraceRecorder& recorder() { return static_cast<TraceRecorder&>(*threadState().traceService); }

const Procedure kProcedure = {L"Zollection", L"Sub Test"};

template <class Body>
void onFreshThread(Body&& body) {
  std::thread([&] {
    body();
    discardThreadState();
  }).join();
}

TEST(Frame, RecordsAndReturnsTheEmptyResultUntilErrorsAreRaised) {
  onFreshThread([] {
    EXPECT_EQ(0, framed(kProcedure, []() -> int { throw makeError(6); }));
    EXPECT_EQ(L"", framed(kProcedure, []() -> std::wstring { throw std::bad_alloc(); }));
    framed(kProcedure, [] { throw std::out_of_range("what"); });
    framed(kProcedure, [] { throw 1; });
    const auto& reports = recorder().reports;
    ASSERT_EQ(4u, reports.size());
    EXPECT_EQ(
        std::tuple(L"Zollection", L"Sub Test", L"Overflow", 7, L"what", E_UNEXPECTED),
        std::tuple(reports[0].ClassName, reports[0].ProcName, reports[0].error.description,
                   reports[1].error.number, reports[2].error.description, reports[3].error.number));

    SetRaiseErrors(true);
    EXPECT_TRUE(recorder().raiseErrors);
    EXPECT_THROW(framed(kProcedure, [] { throw makeError(6); }), Error);
  });
}

TEST(Frame, LabelsSources) {
  const std::wstring label = L"System\\ZSupport.Zollection::Sub Test";
  const std::pair<std::wstring, std::wstring> cases[] = {
      {L"system\\zsupport.x", label + L"!system\\zsupport.x"},
      {L"System\\ZSupport.Zollection::Sub Inner!Zollection.Inner", label},
      {L"System\\ZSupport", label},
  };
  onFreshThread([&] {
    for (const auto& [source, labelled] : cases) {
      std::wstring raised;
      try {
        framed(kProcedure, [&] { raiseOwn(5, source.c_str()); });
      } catch (const Error& error) {
        raised = error.source;
      }
      EXPECT_EQ(labelled, raised);
    }
  });
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
      const auto& to = recorder();
      EXPECT_EQ(std::tuple(file, eventLog, trace, asks, context, breaks, appBits, appBits == 1),
                std::tuple(to.logFile, to.eventLog, to.zTrace, !to.belowARI, to.callStack,
                           DebugBreakOn(), DebugAppBits(), DebugAppBit(1)));
    });
  }
  RegDeleteKeyW(HKEY_CURRENT_USER, key.c_str());
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (!openThreadStates()) return 1;
  setSupportFactory(createSupportObject);
  serviceFactory() = {
      []() -> std::unique_ptr<TraceService> { return std::make_unique<TraceRecorder>(); },
      []() -> std::unique_ptr<ContextService> { return std::make_unique<FailingContext>(); }};
  return RUN_ALL_TESTS();
}
