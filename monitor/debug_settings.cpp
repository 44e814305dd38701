#include "debug_settings.h"

#include "failure.h"

namespace monitor {
namespace {

bool isStored(HKEY hive, const wchar_t* name) {
  return RegGetValueW(hive, kDebugKey, name, RRF_RT_ANY, nullptr, nullptr, nullptr) ==
         ERROR_SUCCESS;
}

}  // namespace

_variant_t DebugSettings::read(const wchar_t* name, const _variant_t& whenMissing,
                               Origin& origin) const {
  const std::wstring what = std::wstring(L"The setting ") + name + L" cannot be read";
  _bstr_t key(name), section(kDebugKey);
  _variant_t missing(whenMissing), value;
  VARIANT_BOOL noPolicy = VARIANT_FALSE;
  require(
      support_->GetRegistryValue(&key.GetBSTR(), &missing, &section.GetBSTR(), &noPolicy, &value),
      std::wstring(L"The setting ") + name + L" cannot be read");
  origin = !noPolicy                            ? Origin::kPolicy
           : isStored(HKEY_CURRENT_USER, name)  ? Origin::kUser
           : isStored(HKEY_LOCAL_MACHINE, name) ? Origin::kMachine
                                                : Origin::kDefault;
  return value;
}

DebugSettings::Setting<LONG> DebugSettings::number(const wchar_t* name, LONG whenMissing) const {
  Setting<LONG> result;
  _variant_t value = read(name, _variant_t(whenMissing), result.origin);
  result.isSound = SUCCEEDED(VariantChangeType(&value, &value, 0, VT_I4));
  result.value = result.isSound ? V_I4(&value) : whenMissing;
  return result;
}

DebugSettings::Setting<std::wstring> DebugSettings::text(const wchar_t* name) const {
  Setting<std::wstring> result;
  _variant_t value = read(name, _variant_t(L""), result.origin);
  result.isSound = SUCCEEDED(VariantChangeType(&value, &value, 0, VT_BSTR));
  if (result.isSound) result.value = textOf(_bstr_t(value));
  return result;
}

// The library says nothing of a failure until errors are raised on its thread: what has been
// written is read again.
void DebugSettings::write(const wchar_t* name, const _variant_t& value,
                          const _variant_t& whenMissing, bool forAllUsers) const {
  _bstr_t key(name), section(kDebugKey), prompt;
  _variant_t written(value), missing(whenMissing);
  long mode = forAllUsers ? rwm_Machine : rwm_User;
  const std::wstring what = std::wstring(L"The setting ") + name + L" cannot be written";
  require(support_->WriteRegistryValue(&key.GetBSTR(), &written, &missing, &mode,
                                       &section.GetBSTR(), &prompt.GetBSTR()),
          what);
  Origin origin;
  const _variant_t stands = read(name, whenMissing, origin);
  if (!(_variant_t(stands) == value)) {
    throw Failure{what + (forAllUsers ? L": it takes an administrator's rights" : L"")};
  }
}

}  // namespace monitor
