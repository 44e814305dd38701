// GZSupport: settings in the registry.
//
// A setting has up to four sources: the administrator's policy for the user, that for the machine,
// the user's own value and the machine-wide default; last comes the caller's default. Policies
// exist only for section keys under the company root, and the machine's policy is asked only when
// the user's policy key exists: deliberate.
#include <windows.h>

#include <algorithm>

#include "automation/name_index.h"
#include "companion/registry_object.h"
#include "support/gzsupport.h"
#include "support/member.h"

namespace zsupport {
namespace {

constexpr std::wstring_view kCompanyRoot = L"Software\\Zarnow Instruments Ltd.";
constexpr std::wstring_view kPolicyRoot = L"Software\\Policies\\Zarnow Instruments Ltd.";

// Without its case, a character is in these texts what it is to any language.
bool isPlain(wchar_t c) { return c >= 0x20 && c < 0x7F; }

// A comparison of texts. The platform's, which is slow, is asked only about characters that may be
// equal to others.
bool isUnderCompanyRoot(std::wstring_view sectionKey) {
  const std::wstring_view start = sectionKey.substr(0, kCompanyRoot.size());
  if (std::all_of(start.begin(), start.end(), isPlain)) {
    return std::equal(start.begin(), start.end(), kCompanyRoot.begin(), kCompanyRoot.end(),
                      [](wchar_t a, wchar_t b) { return lowerCase(a) == lowerCase(b); });
  }
  return sameTextIgnoringCase(Text(start).get(), Text(kCompanyRoot).get());
}

// The current value when key and value exist.
bool readPresent(RegistryObject& registry, Variant& value) {
  if (!registry.SectionExists()) return false;
  registry.Value(value);
  return typeOf(value.get()) != VT_NULL;
}

// Whether a value is present in the hive, and which; for the object it is only a look aside. 0
// means the object's own hive.
bool pHasValue(RegistryObject& registry, HKEY hive, Variant& value) {
  const HKEY saved = registry.Hive();
  const bool has = framed(kSupport.procedure(L"Function pHasValue"), [&] {
    if (hive) registry.Hive(hive);
    return readPresent(registry, value);
  });
  registry.Hive(saved);
  return has;
}

// Whether a policy decides, and what it says.
bool readPolicy(RegistryObject& registry, const std::wstring& sectionKey, Variant& value) {
  if (!isUnderCompanyRoot(sectionKey)) return false;
  registry.SectionKey(std::wstring(kPolicyRoot) + sectionKey.substr(kCompanyRoot.size()));
  if (!registry.SectionExists()) return false;
  registry.Value(value);
  if (typeOf(value.get()) != VT_NULL) return true;
  registry.Hive(HKEY_LOCAL_MACHINE);
  return readPresent(registry, value);
}

// What is set, or the default.
void readSetting(RegistryObject& registry, const std::wstring& sectionKey, const VARIANT& preset,
                 Variant& value) {
  registry.Hive(HKEY_CURRENT_USER);
  registry.SectionKey(sectionKey);
  if (readPresent(registry, value)) return;
  registry.Hive(HKEY_LOCAL_MACHINE);
  if (!registry.SectionExists()) return copyDereferenced(value, preset);
  registry.Default(preset);
  registry.Value(value);
}

LONG askForMode(const std::wstring& prompt) {
  const std::wstring question = L"Do you wish to set " + prompt + L" as a default for all users?";
  const int answer = MessageBoxW(GetActiveWindow(), question.c_str(),
                                 versionText(L"FileDescription"), MB_ICONQUESTION | MB_YESNO);
  return answer == IDYES ? rwm_Machine : rwm_User;
}

void chooseValueType(RegistryObject& registry, const VARIANT& value) {
  if (isOneOf<VT_I2, VT_I4, VT_BOOL, VT_UI1>(typeOf(value))) {
    registry.ValueType(RegistryObject::kNumber);
  }
}

void store(RegistryObject& registry, const VARIANT& value) {
  registry.CreateKey();  // unless it is there
  registry.PutValue(value);
}

// Values that cannot be compared count as different.
bool areEqual(const VARIANT& a, const VARIANT& b) { return compareEqual(a, b).value_or(false); }

void deleteIfPresent(RegistryObject& registry) {
  Variant value;
  if (pHasValue(registry, nullptr, value)) registry.DeleteValue();
}

// For all users; this user's own value goes, so that the machine's shows through.
void writeForMachine(RegistryObject& registry, const VARIANT& value, const VARIANT& preset) {
  if (areEqual(value, preset)) {
    deleteIfPresent(registry);
  } else {
    store(registry, value);
  }
  registry.Hive(HKEY_CURRENT_USER);
  deleteIfPresent(registry);
}

// A user's value is stored only where it differs from what the user would get without it.
void writeForUser(RegistryObject& registry, const VARIANT& value, const VARIANT& preset) {
  Variant machine;
  const bool isSetForMachine = pHasValue(registry, HKEY_LOCAL_MACHINE, machine);
  const bool isRedundant = areEqual(value, isSetForMachine ? machine.get() : preset);
  registry.Hive(HKEY_CURRENT_USER);
  if (isRedundant) {
    deleteIfPresent(registry);
  } else {
    store(registry, value);
  }
}

// An object stands for the value of its default member, which is read this once.
void resolve(Variant& value) {
  Variant holder, copy;
  const VARIANT* read = nullptr;
  if (FAILED(readValue(value.get(), holder, read)) || read == &value.get()) return;
  copyDereferenced(copy, *read);
  std::swap(*value.inout(), *copy.inout());
}

void remember(std::wstring& section, std::wstring_view sectionKey) {
  if (!sectionKey.empty()) section = sectionKey;
}

VARIANT nullValue() {
  VARIANT value;
  V_VT(&value) = VT_NULL;
  return value;
}

}  // namespace

HRESULT GZSupportObject::GetRegistryValue(BSTR* valueKey, VARIANT* preset, BSTR* sectionKey,
                                          VARIANT_BOOL* noPolicySet, VARIANT* value) {
  return kSupport.give(L"Function GetRegistryValue", {valueKey, preset, sectionKey, noPolicySet},
                       value, [&] {
                         RegistryObject registry;
                         remember(readSection_, viewOf(*sectionKey));
                         registry.Hive(HKEY_CURRENT_USER);
                         registry.Default(nullValue());
                         registry.ValueKey(std::wstring(viewOf(*valueKey)));
                         Variant found;
                         *noPolicySet = VARIANT_FALSE;
                         const bool isPolicy = readPolicy(registry, readSection_, found);
                         if (!isPolicy) {
                           *noPolicySet = VARIANT_TRUE;
                           readSetting(registry, readSection_, *preset, found);
                         }
                         return found;
                       });
}

HRESULT GZSupportObject::WriteRegistryValue(BSTR* valueKey, VARIANT* value, VARIANT* preset,
                                            LONG* mode, BSTR* sectionKey, BSTR* prompt) {
  return kSupport.run(L"Sub WriteRegistryValue",
                      {valueKey, value, preset, mode, sectionKey, prompt}, [&] {
                        // All arguments are taken first: the caller's code runs while objects tell
                        // their values, and while the question stands.
                        Variant plain, plainPreset;
                        copyDereferenced(plain, *value);
                        copyDereferenced(plainPreset, *preset);
                        const std::wstring name(viewOf(*valueKey));
                        const std::wstring section(viewOf(*sectionKey));
                        const std::wstring subject(viewOf(*prompt));
                        resolve(plain);
                        resolve(plainPreset);
                        LONG chosen = *mode;
                        if (chosen == rwm_Prompt) *mode = chosen = askForMode(subject);
                        RegistryObject registry;
                        remember(writeSection_, section);
                        chooseValueType(registry, plain.get());
                        registry.Default(nullValue());
                        registry.SectionKey(writeSection_);
                        registry.ValueKey(name);
                        registry.Hive(HKEY_LOCAL_MACHINE);
                        if (chosen == rwm_User) {
                          writeForUser(registry, plain.get(), plainPreset.get());
                        } else {
                          writeForMachine(registry, plain.get(), plainPreset.get());
                        }
                      });
}

}  // namespace zsupport
