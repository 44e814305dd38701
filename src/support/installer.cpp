// GZSupport: installed parts, through Windows Installer.
#include <windows.h>

#include <string>

#include "automation/ansi.h"
#include "automation/foreign_object.h"
#include "automation/runtime_rules.h"
#include "automation/system_library.h"
#include "frame/mdlSupport.h"
#include "support/gzsupport.h"
#include "support/member.h"

namespace zsupport {
namespace {

constexpr wchar_t kOverrides[] = L"Software\\Zarnow Instruments Ltd.\\Components";
constexpr LONG kShowIds = 1;  // application bit of the debug level: the question names the ids
constexpr size_t kCodeLength = 38;

constinit SystemLibrary installerLibrary(L"msi.dll");

// What it answers is not looked at; without a library, nothing happens.
template <class... Arguments>
void callInstaller(const char* name, Arguments... arguments) {
  const auto function = installerLibrary.find<UINT WINAPI(Arguments...)>(name);
  if (function) function(arguments...);
}

void installMissingComponent(const std::string& product, const std::string& component) {
  constexpr int kInstallLocally = 5;
  callInstaller("MsiInstallMissingComponentA", product.c_str(), component.c_str(), kInstallLocally);
}

// The installer's automation object.
class Installer {
 public:
  enum UserInterface : LONG { kDefault = 1, kNone = 2 };

  void setUILevel(UserInterface level) const {
    constexpr DISPID kUILevel = 6;
    Variant nothing;
    callMember(*object_.get(), kUILevel, DISPATCH_PROPERTYPUT, {valueOf(LONG{level})}, nothing);
  }
  std::wstring componentPath(const Text& product, const Text& component) const {
    constexpr DISPID kComponentPath = 31;
    return textOf(kComponentPath, product, component);
  }
  std::wstring productInfo(const Text& product, const Text& attribute) const {
    constexpr DISPID kProductInfo = 18;
    return textOf(kProductInfo, product, attribute);
  }
  std::wstring summaryProperty(const Text& package, LONG property) const {
    constexpr DISPID kSummaryInformation = 5, kProperty = 1;
    Variant summary, value;
    // To be read: no changes.
    callMember(*object_.get(), kSummaryInformation, DISPATCH_PROPERTYGET,
               {valueOf(LONG{0}), valueOf(package.get())}, summary);
    const auto information = ComPtr<IDispatch>::from(
        typeOf(summary.get()) == VT_DISPATCH ? V_DISPATCH(&summary.get()) : nullptr);
    if (!information) throw makeError(runtime::kTypeMismatch);
    callMember(*information.get(), kProperty, DISPATCH_PROPERTYGET, {valueOf(property)}, value);
    return std::wstring(toValueText(value.get()).view());
  }

 private:
  std::wstring textOf(DISPID property, const Text& first, const Text& second) const {
    Variant value;
    callMember(*object_.get(), property, DISPATCH_PROPERTYGET,
               {valueOf(second.get()), valueOf(first.get())}, value);
    return std::wstring(toValueText(value.get()).view());
  }

  const ComPtr<IDispatch> object_ = createObject(L"WindowsInstaller.Installer");
};

std::wstring productOf(const std::string& component) {
  char product[kCodeLength + 1] = {};
  callInstaller("MsiGetProductCodeA", component.c_str(), +product);
  return product[0] ? fromAnsi({product, kCodeLength}) : std::wstring();
}

// The question to the user, and the answer as what to do.
LONG askToInstall(BSTR* prompt, const Text& product, const Text& component) {
  std::wstring question(viewOf(*prompt));
  if (question.empty()) {
    question =
        L"You are trying to use a component that is not currently installed.\r\n"
        L"Do you wish to install it now?";
  }
  if (DebugAppBit(kShowIds)) {
    question += L"\r\nProductID: " + std::wstring(product.view());
    question += L"\r\nComponentID: " + std::wstring(component.view());
  }
  assign(prompt, question);
  const int answer = MessageBoxW(GetActiveWindow(), question.c_str(), L"Install on Demand",
                                 MB_ICONQUESTION | MB_YESNO);
  return answer == IDYES ? im_Install : im_Fail;
}

}  // namespace

HRESULT GZSupportObject::GetComponentProductID(BSTR* component, BSTR* product) {
  return kSupport.give(L"Function GetComponentProductID", {component}, product,
                       [&] { return productOf(toAnsi(viewOf(*component))); });
}

// Where the component is by the registry, which goes before the installer. The key becomes the one
// that this object reads from: deliberate.
std::wstring GZSupportObject::overridingLocation(const Text& component) {
  Text name(component.view()), key{kOverrides};
  VARIANT preset = valueOf(BSTR{});
  VARIANT_BOOL noPolicySet = VARIANT_FALSE;
  Variant path;
  checkCall(GetRegistryValue(name.inout(), &preset, key.inout(), &noPolicySet, path.put()));
  return std::wstring(toValueText(path.get()).view());
}

// The product whose component is asked for. An empty one is looked up for the caller alone:
// deliberate.
Text GZSupportObject::chosenProduct(Text& component, BSTR* product, bool ignoreProduct) {
  if (!ignoreProduct && !viewOf(*product).empty()) return Text(viewOf(*product));
  Text found;
  checkCall(GetComponentProductID(component.inout(), found.inout()));
  if (ignoreProduct) return found;
  std::swap(*product, *found.inout());
  return {};
}

HRESULT GZSupportObject::GetComponentLocation2(BSTR* component, BSTR* product, LONG* action,
                                               BSTR* prompt, VARIANT_BOOL* ignoreProduct,
                                               BSTR* path) {
  return kSupport.give(L"Function GetComponentLocation2",
                       {component, product, action, prompt, ignoreProduct}, path, [&] {
                         Text wanted(viewOf(*component));
                         std::wstring location = overridingLocation(wanted);
                         if (!location.empty()) return location;
                         const Installer installer;
                         installer.setUILevel(Installer::kNone);
                         const Text owner = chosenProduct(wanted, product, *ignoreProduct);
                         if (!owner.view().empty())
                           location = installer.componentPath(owner, wanted);
                         if (!location.empty()) return location;
                         if (*action == im_Prompt) *action = askToInstall(prompt, owner, wanted);
                         if (*action == im_Install) {
                           installer.setUILevel(Installer::kDefault);
                           installMissingComponent(toAnsi(owner.view()), toAnsi(wanted.view()));
                           location = installer.componentPath(owner, wanted);
                         }
                         return location;
                       });
}

HRESULT GZSupportObject::GetProductInfo(BSTR* product, BSTR* property, BSTR* value) {
  return kSupport.give(L"Function GetProductInfo", {product, property}, value, [&] {
    return Installer().productInfo(Text(viewOf(*product)), Text(viewOf(*property)));
  });
}

HRESULT GZSupportObject::GetProductSummaryInfo(BSTR* product, LONG* property, BSTR* value) {
  return kSupport.give(L"Function GetProductSummaryInfo", {product, property}, value, [&] {
    const Installer installer;
    const Text package(installer.productInfo(Text(viewOf(*product)), Text(L"LocalPackage")));
    return installer.summaryProperty(package, *property);
  });
}

}  // namespace zsupport
