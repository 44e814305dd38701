#include "frame/mdlSupport.h"

#include "automation/module.h"
#include "frame/mdlErrorHandling.h"
#include "frame/mdlGlobal.h"
#include "frame/thread_state.h"

namespace zsupport {
namespace {

constexpr wchar_t kModule[] = L"mdlSupport";
constexpr LONG kDefaultDebugLevel = edlTLogFile | edlLogFile;
constexpr int kAppBitsShift = 12;
constexpr LONG kAppBitsMask = 0x7FFFF;

LONG debugLevel() {
  ThreadState& state = threadState();
  if (!state.debugLevelLoaded) {
    // Set first: a failure to read it is reported, and the report asks for the level.
    state.debugLevelLoaded = true;
    state.DebugLevel = kDefaultDebugLevel;
    state.DebugLevel = readDebugLong(L"Debug Level", kDefaultDebugLevel);
  }
  return state.DebugLevel;
}

}  // namespace

std::wstring AppRegRoot(bool bPolicies) {
  return framed({kModule, L"Function AppRegRoot"}, [&]() -> std::wstring {
    std::wstring& product = threadState().productName;
    if (product.empty()) product = versionText(L"ProductName");
    return (bPolicies ? L"Software\\Policies\\Zarnow Instruments Ltd.\\"
                      : L"Software\\Zarnow Instruments Ltd.\\") +
           product;
  });
}

VersionStampRecord AppVersionStamp() {
  return framed({kModule, L"Get AppVersionStamp"}, [] {
    const ModuleVersion version = moduleVersion();
    return VersionStampRecord{version.major, version.minor, version.revision,
                              threadState().LibraryReleaseType};
  });
}

LONG DebugLevelValue() { return debugLevel() & edlLevelMask; }
LONG DebugTargets() { return debugLevel() & edlTargetMask; }
bool DebugBreakOn() { return debugLevel() < 0; }
bool CallStackOn() { return (debugLevel() & edlCallStack) != 0; }
LONG DebugAppBits() { return (debugLevel() >> kAppBitsShift) & kAppBitsMask; }
bool DebugAppBit(LONG Mask) { return (DebugAppBits() & Mask) > 0; }

}  // namespace zsupport
