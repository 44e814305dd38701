#include "companion/registry_object.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

#include "automation/error.h"

namespace zsupport {
namespace {

constexpr VARTYPE kByteArray = VT_ARRAY | VT_UI1;

bool isAbsent(LSTATUS status) {
  return status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND;
}

// What a value holds. Most fit into the buffer of the object itself.
class Data {
 public:
  LSTATUS read(HKEY key, const wchar_t* name) {
    LSTATUS status = query(key, name);
    while (status == ERROR_MORE_DATA) {  // another process may make it longer meanwhile
      long_.resize(size_);
      status = query(key, name);
    }
    return status;
  }
  DWORD type() const { return type_; }

  // A text need not be terminated, and may be more than once.
  std::wstring_view text() const {
    const auto* const text = reinterpret_cast<const wchar_t*>(start());
    size_t length = size_ / sizeof(wchar_t);
    while (length > 0 && text[length - 1] == L'\0') --length;
    return {text, length};
  }
  LONG number() const {
    LONG number = 0;
    std::memcpy(&number, start(), std::min<size_t>(size_, sizeof number));
    return number;
  }
  SAFEARRAY* bytes() const {
    SAFEARRAY* const array = SafeArrayCreateVector(VT_UI1, 0, size_);
    if (!array) throw std::bad_alloc();
    std::memcpy(array->pvData, start(), size_);
    return array;
  }

 private:
  LSTATUS query(HKEY key, const wchar_t* name) {
    size_ = static_cast<DWORD>(long_.empty() ? sizeof short_ : long_.size());
    return RegQueryValueExW(key, name, nullptr, &type_, long_.empty() ? short_ : long_.data(),
                            &size_);
  }
  const BYTE* start() const { return long_.empty() ? short_ : long_.data(); }

  alignas(8) BYTE short_[1024];
  std::vector<BYTE> long_;
  DWORD size_ = 0;
  DWORD type_ = 0;
};

std::optional<std::wstring> variable(const std::wstring& name) {
  std::wstring value;
  DWORD size = GetEnvironmentVariableW(name.c_str(), nullptr, 0);
  if (size == 0) return {};
  while (size > value.size()) {  // another thread may make it longer meanwhile
    value.resize(size);
    size = GetEnvironmentVariableW(name.c_str(), value.data(), size);
  }
  value.resize(size);
  return value;
}

// With the values of environment variables in place of their names; what names none stays. The
// platform's own function cuts what is longer than 32,766 characters.
std::wstring expanded(std::wstring_view text) {
  std::wstring result;
  while (!text.empty()) {
    const size_t next = std::min(text.find(L'%', 1), text.size());
    const bool isName = text[0] == L'%' && next < text.size() && next > 1;
    const auto value = isName ? variable(std::wstring(text.substr(1, next - 1))) : std::nullopt;
    result += value ? std::wstring_view(*value) : text.substr(0, next);
    text.remove_prefix(value ? next + 1 : next);
  }
  return result;
}

// The bytes of an array, locked meanwhile.
class LockedBytes {
 public:
  explicit LockedBytes(SAFEARRAY* array) : array_(array) {
    if (!array || SafeArrayGetDim(array) != 1) throw makeError(runtime::kTypeMismatch);
    checkPlatform(SafeArrayAccessData(array, &data_));
  }
  LockedBytes(const LockedBytes&) = delete;
  LockedBytes& operator=(const LockedBytes&) = delete;
  ~LockedBytes() { SafeArrayUnaccessData(array_); }
  const void* data() const { return data_; }
  size_t size() const { return array_->rgsabound[0].cElements; }

 private:
  SAFEARRAY* const array_;
  void* data_ = nullptr;
};

}  // namespace

void RegistryObject::Hive(HKEY hive) {
  if (hive != hive_) key_.close();
  hive_ = hive;
}

void RegistryObject::SectionKey(std::wstring path) {
  key_.close();
  sectionKey_ = std::move(path);
}

HKEY RegistryObject::open(REGSAM access) {
  if (key_ && access_ == access) return key_.get();
  const LSTATUS status = RegOpenKeyExW(hive_, sectionKey_.c_str(), 0, access, key_.put());
  access_ = access;
  if (!isAbsent(status)) checkWin32(status);
  return key_.get();
}

bool RegistryObject::SectionExists() { return open(KEY_QUERY_VALUE) != nullptr; }

void RegistryObject::CreateKey() {
  access_ = KEY_SET_VALUE;
  checkWin32(RegCreateKeyExW(hive_, sectionKey_.c_str(), 0, nullptr, 0, access_, nullptr,
                             key_.put(), nullptr));
}

void RegistryObject::DeleteValue() {
  const HKEY key = open(KEY_SET_VALUE);
  if (!key) return;
  const LSTATUS status = RegDeleteValueW(key, valueKey_.c_str());
  if (!isAbsent(status)) checkWin32(status);
}

void RegistryObject::Value(Variant& value) {
  Data data;
  const HKEY key = open(KEY_QUERY_VALUE);
  const LSTATUS status = key ? data.read(key, valueKey_.c_str()) : ERROR_FILE_NOT_FOUND;
  if (isAbsent(status)) return copyDereferenced(value, default_.get());
  checkWin32(status);
  switch (data.type()) {
    case REG_SZ:
      *value.put() = valueOf(Text(data.text()).detach());
      return;
    case REG_EXPAND_SZ:
      *value.put() = valueOf(Text(expanded(data.text())).detach());
      return;
    case REG_DWORD:
      *value.put() = valueOf(data.number());
      return;
    default:
      V_ARRAY(value.put()) = data.bytes();
      V_VT(value.inout()) = kByteArray;
  }
}

void RegistryObject::write(DWORD type, const void* data, size_t size) {
  const HKEY key = open(KEY_SET_VALUE);
  if (!key) checkWin32(ERROR_FILE_NOT_FOUND);
  checkWin32(RegSetValueExW(key, valueKey_.c_str(), 0, type, static_cast<const BYTE*>(data),
                            static_cast<DWORD>(size)));
}

void RegistryObject::PutValue(const VARIANT& value) {
  if (valueType_ == kNumber) {
    const LONG number = toLong(value);
    write(REG_DWORD, &number, sizeof number);
  } else if (typeOf(value) == kByteArray) {
    const LockedBytes bytes(V_ARRAY(&value));
    write(REG_BINARY, bytes.data(), bytes.size());
  } else {
    const std::wstring text(toText(value).view());
    write(REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
  }
}

}  // namespace zsupport
