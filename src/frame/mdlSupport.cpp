#include "frame/mdlSupport.h"

#include "automation/module.h"
#include "frame/mdlErrorHandling.h"
#include "frame/thread_state.h"

namespace zsupport {
namespace {

constexpr wchar_t kModule[] = L"mdlSupport";

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

VersionStamp AppVersionStamp() {
  return framed({kModule, L"Get AppVersionStamp"}, [] {
    const ModuleVersion version = moduleVersion();
    return VersionStamp{version.major, version.minor, version.revision,
                        threadState().LibraryReleaseType};
  });
}

}  // namespace zsupport
