// The class GZSupport: helpers that all applications share. One source file per area.
#pragma once

#include <string>

#include "ZSupport.h"
#include "automation/coclass.h"
#include "automation/com_ptr.h"
#include "automation/text.h"
#include "automation/variant.h"

namespace zsupport {

class GZSupportObject final : public CoClass<GZSupportObject, GZSupport, _GZSupport, void> {
 public:
  static const MemberTable& members();

  // Settings (registry_values.cpp)
  HRESULT STDMETHODCALLTYPE GetRegistryValue(BSTR* valueKey, VARIANT* preset, BSTR* sectionKey,
                                             VARIANT_BOOL* noPolicySet, VARIANT* value) override;
  HRESULT STDMETHODCALLTYPE WriteRegistryValue(BSTR* valueKey, VARIANT* value, VARIANT* preset,
                                               LONG* mode, BSTR* sectionKey, BSTR* prompt) override;

  // Versions (versions.cpp)
  HRESULT STDMETHODCALLTYPE VersionStamp(BSTR* text, VersionStampRecord* stamp) override;
  HRESULT STDMETHODCALLTYPE VersionString(VersionStampRecord* stamp, VARIANT_BOOL* full,
                                          VARIANT_BOOL* includeReleaseType,
                                          VARIANT_BOOL* hideRevision, BSTR* text) override;
  HRESULT STDMETHODCALLTYPE CompareVersionStamps(VersionStampRecord* left,
                                                 VersionStampRecord* right, LONG* order) override;
  HRESULT STDMETHODCALLTYPE OSVersion(VersionStampRecord* version) override;

  // Path names and identity (names.cpp)
  HRESULT STDMETHODCALLTYPE MakeLegalPath(BSTR text, BSTR* path) override;
  HRESULT STDMETHODCALLTYPE GetLongPathName(BSTR* shortPath, BSTR* path) override;
  HRESULT STDMETHODCALLTYPE GetUserName(BSTR* name) override;
  HRESULT STDMETHODCALLTYPE GetComputerName(BSTR* name) override;

  // Folders and temporary files (folders.cpp)
  HRESULT STDMETHODCALLTYPE GetFolderPath(LONG* folder, BSTR subfolder, BSTR* path) override;
  HRESULT STDMETHODCALLTYPE GetMyDocumentsPath(BSTR* path) override;
  HRESULT STDMETHODCALLTYPE GetAppDataPath(BSTR* path) override;
  HRESULT STDMETHODCALLTYPE GetCommonAppDataPath(BSTR* path) override;
  HRESULT STDMETHODCALLTYPE GetTempPath(BSTR* path) override;
  HRESULT STDMETHODCALLTYPE GetTempFileName2(BSTR* folder, BSTR* prefix, BSTR* path) override;
  HRESULT STDMETHODCALLTYPE EnsureDirExists(BSTR* path, VARIANT_BOOL* exists) override;

  // Arrays (arrays.cpp)
  HRESULT STDMETHODCALLTYPE StringArray(SAFEARRAY** values, SAFEARRAY** texts) override;
  HRESULT STDMETHODCALLTYPE StringArray2(SAFEARRAY** values, SAFEARRAY** texts) override;
  HRESULT STDMETHODCALLTYPE JoinLongs(SAFEARRAY** numbers, BSTR* delimiter, BSTR* text) override;
  HRESULT STDMETHODCALLTYPE AddSVParameter(SAFEARRAY** names, SAFEARRAY** values, BSTR* name,
                                           VARIANT* value) override;
  HRESULT STDMETHODCALLTYPE ArrayDescriptor(LONG address, ArrayHeader* descriptor) override;
  HRESULT STDMETHODCALLTYPE ArrayDescriptor1D(LONG address, ArrayHeader1D* descriptor) override;
  HRESULT STDMETHODCALLTYPE ArrayBounds(LONG address, SAFEARRAY** bounds,
                                        SHORT* dimensions) override;

  // Values and dates (values.cpp)
  HRESULT STDMETHODCALLTYPE IsEqualVariant(VARIANT* left, VARIANT* right,
                                           VARIANT_BOOL* equal) override;
  HRESULT STDMETHODCALLTYPE IsEqualDate(DATE* left, DATE* right, VARIANT_BOOL* equal) override;
  HRESULT STDMETHODCALLTYPE DateMultiple(DATE* span, DATE* unit, double* multiple) override;
  HRESULT STDMETHODCALLTYPE NotImplemented(BSTR* feature, BSTR* message) override;
  HRESULT STDMETHODCALLTYPE get_VBoost(IDispatch** helper) override;

  // Installed parts (installer.cpp)
  HRESULT STDMETHODCALLTYPE GetComponentProductID(BSTR* component, BSTR* product) override;
  HRESULT STDMETHODCALLTYPE GetComponentLocation2(BSTR* component, BSTR* product, LONG* action,
                                                  BSTR* prompt, VARIANT_BOOL* ignoreProduct,
                                                  BSTR* path) override;
  HRESULT STDMETHODCALLTYPE GetProductInfo(BSTR* product, BSTR* property, BSTR* value) override;
  HRESULT STDMETHODCALLTYPE GetProductSummaryInfo(BSTR* product, LONG* property,
                                                  BSTR* value) override;

  // Windows (windows.cpp)
  HRESULT STDMETHODCALLTYPE CenterWindow(LONG* window, LONG* owner,
                                         VARIANT_BOOL* maximize) override;
  HRESULT STDMETHODCALLTYPE BoundingBox(LONG window, RECT* box) override;

  // Other applications (applications.cpp)
  HRESULT STDMETHODCALLTYPE GetTaggedWindow2(BSTR application, LONG* window) override;
  HRESULT STDMETHODCALLTYPE SendData(LONG window, BSTR text, LONG number) override;
  HRESULT STDMETHODCALLTYPE GetROTObject(BSTR* className, VARIANT_BOOL* alwaysRunning,
                                         VARIANT_BOOL* createIfNotRunning,
                                         IDispatch** object) override;

 private:
  // installer.cpp
  std::wstring overridingLocation(const Text& component);
  Text chosenProduct(Text& component, BSTR* product, bool ignoreProduct);

  // The section keys last given to each of the two, kept apart on purpose: where one reads says
  // nothing of where one writes.
  std::wstring readSection_;
  std::wstring writeSection_;
};

// A new object, with the reference of the caller.
ComPtr<_GZSupport> createSupportObject();

}  // namespace zsupport
