// The error frame from within: what is reported, what is raised, under which label.
#include <windows.h>

#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

#include "automation/error.h"
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

TEST(Frame, KnowsItsOwnPlaceAndVersion) {
  onFreshThread([] {
    EXPECT_EQ(L"Software\\Zarnow Instruments Ltd.\\System\\ZSupport", AppRegRoot(false));
    EXPECT_EQ(L"Software\\Policies\\Zarnow Instruments Ltd.\\System\\ZSupport", AppRegRoot(true));
    EXPECT_EQ(1, AppVersionStamp().Major);
    EXPECT_EQ(0, AppVersionStamp().ReleaseType);
  });
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (!openThreadStates()) return 1;
  setSupportFactory(createSupportObject);
  serviceFactory().makeTraceService = []() -> std::unique_ptr<TraceService> {
    return std::make_unique<TraceRecorder>();
  };
  return RUN_ALL_TESTS();
}
