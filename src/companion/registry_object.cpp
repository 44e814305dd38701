#include "companion/registry_object.h"

#include <cstring>
#include <vector>

#include "automation/error.h"

namespace zsupport {
namespace {

bool isAbsent(LSTATUS status) {
  return status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND;
}

// The text of a string value, which need not be terminated, and may be more than once.
std::wstring_view textIn(const std::vector<BYTE>& data) {
  const auto* const text = reinterpret_cast<const wchar_t*>(data.data());
  size_t length = data.size() / sizeof(wchar_t);
  while (length > 0 && text[length - 1] == L'\0') --length;
  return {text, length};
}

// With the values of environment variables in place of their names.
std::wstring expanded(const std::wstring& text) {
  std::wstring result(ExpandEnvironmentStringsW(text.c_str(), nullptr, 0), L'\0');
  const DWORD length =
      ExpandEnvironmentStringsW(text.c_str(), result.data(), static_cast<DWORD>(result.size()));
  result.resize(length > 0 && length <= result.size() ? length - 1 : 0);
  return result;
}

void bytesTo(VARIANT* value, const std::vector<BYTE>& data) {
  SAFEARRAY* const array = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(data.size()));
  if (!array) throw std::bad_alloc();
  std::memcpy(array->pvData, data.data(), data.size());
  V_VT(value) = VT_ARRAY | VT_UI1;
  V_ARRAY(value) = array;
}

}  // namespace

void RegistryObject::open(RegistryKey& key, REGSAM access) const {
  const LSTATUS status = RegOpenKeyExW(hive_, sectionKey_.c_str(), 0, access, key.put());
  if (!isAbsent(status)) checkWin32(status);
}

bool RegistryObject::SectionExists() const {
  RegistryKey key;
  open(key, KEY_READ);
  return static_cast<bool>(key);
}

void RegistryObject::CreateKey() const {
  RegistryKey key;
  checkWin32(RegCreateKeyExW(hive_, sectionKey_.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE,
                             nullptr, key.put(), nullptr));
}

void RegistryObject::DeleteValue() const {
  RegistryKey key;
  open(key, KEY_SET_VALUE);
  if (!key) return;
  const LSTATUS status = RegDeleteValueW(key.get(), valueKey_.c_str());
  if (!isAbsent(status)) checkWin32(status);
}

void RegistryObject::Value(Variant& value) const {
  RegistryKey key;
  open(key, KEY_READ);
  DWORD type = 0;
  std::vector<BYTE> data(256);
  LSTATUS status = ERROR_FILE_NOT_FOUND;
  while (key) {
    auto size = static_cast<DWORD>(data.size());
    status = RegQueryValueExW(key.get(), valueKey_.c_str(), nullptr, &type, data.data(), &size);
    data.resize(size);
    if (status != ERROR_MORE_DATA) break;  // another process may have made it longer
  }
  if (isAbsent(status)) return copyDereferenced(value, default_.get());
  checkWin32(status);
  switch (type) {
    case REG_SZ:
    case REG_EXPAND_SZ:
      V_BSTR(value.put()) =
          (type == REG_SZ ? Text(textIn(data)) : Text(expanded(std::wstring(textIn(data)))))
              .detach();
      V_VT(value.operator->()) = VT_BSTR;
      return;
    case REG_DWORD: {
      LONG number = 0;
      std::memcpy(&number, data.data(), std::min(data.size(), sizeof number));
      V_I4(value.put()) = number;
      V_VT(value.operator->()) = VT_I4;
      return;
    }
    default:
      return bytesTo(value.put(), data);
  }
}

void RegistryObject::PutValue(const VARIANT& value) const {
  RegistryKey key;
  open(key, KEY_SET_VALUE);
  if (!key) checkWin32(ERROR_FILE_NOT_FOUND);
  if (valueType_ == kNumber) {
    const LONG number = toLong(value);
    checkWin32(RegSetValueExW(key.get(), valueKey_.c_str(), 0, REG_DWORD,
                              reinterpret_cast<const BYTE*>(&number), sizeof number));
  } else {
    const std::wstring text(toText(value).view());
    checkWin32(RegSetValueExW(key.get(), valueKey_.c_str(), 0, REG_SZ,
                              reinterpret_cast<const BYTE*>(text.c_str()),
                              static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))));
  }
}

}  // namespace zsupport
