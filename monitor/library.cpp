#include "library.h"

#include "failure.h"
#include "version.h"

namespace monitor {
namespace {

constexpr wchar_t kMonitorKey[] = L"Software\\Zarnow Instruments Ltd.\\System\\ZSupport\\Monitor";

// The description of the library that lies beside this program, for as long as this lives.
class UnregisteredLibrary {
 public:
  UnregisteredLibrary() {
    const std::wstring manifest = programFolder() + L"ZSupport.Library.manifest";
    ACTCTXW context{};
    context.cbSize = sizeof context;
    context.lpSource = manifest.c_str();
    context_ = CreateActCtxW(&context);
    isActive_ = context_ != INVALID_HANDLE_VALUE && ActivateActCtx(context_, &cookie_);
  }
  UnregisteredLibrary(const UnregisteredLibrary&) = delete;
  UnregisteredLibrary& operator=(const UnregisteredLibrary&) = delete;
  ~UnregisteredLibrary() {
    if (isActive_) DeactivateActCtx(0, cookie_);
    if (context_ != INVALID_HANDLE_VALUE) ReleaseActCtx(context_);
  }

 private:
  HANDLE context_ = INVALID_HANDLE_VALUE;
  ULONG_PTR cookie_ = 0;
  bool isActive_ = false;
};

template <class Interface>
Ptr<Interface> create(REFCLSID classId) {
  Ptr<Interface> object;
  HRESULT result = object.CreateInstance(classId);
  if (FAILED(result)) {
    const UnregisteredLibrary beside;
    result = object.CreateInstance(classId);
  }
  require(result, L"The library cannot be loaded");
  return object;
}

}  // namespace

Ptr<_GZSupport> createSupport() { return create<_GZSupport>(__uuidof(GZSupport)); }
Ptr<_Zollection> createCollection() { return create<_Zollection>(__uuidof(Zollection)); }

Memory::Memory() {
  try {
    support_ = createSupport();
  } catch (const Failure&) {
    // Whoever needs more of the library says so.
  }
}

std::wstring Memory::read(const std::wstring& name) const {
  if (!support_) return {};
  _bstr_t key = bstrOf(name), section = bstrOf(kMonitorKey);
  _variant_t none(L""), value;
  VARIANT_BOOL noPolicy = VARIANT_FALSE;
  const HRESULT result =
      support_->GetRegistryValue(&key.GetBSTR(), &none, &section.GetBSTR(), &noPolicy, &value);
  return SUCCEEDED(result) && V_VT(&value) == VT_BSTR ? textOf(_bstr_t(value)) : std::wstring();
}

void Memory::write(const std::wstring& name, const std::wstring& value) const {
  if (!support_) return;
  _bstr_t key = bstrOf(name), section = bstrOf(kMonitorKey), prompt;
  _variant_t text(bstrOf(value)), none(L"");
  long mode = rwm_User;
  support_->WriteRegistryValue(&key.GetBSTR(), &text, &none, &mode, &section.GetBSTR(),
                               &prompt.GetBSTR());
}

}  // namespace monitor
