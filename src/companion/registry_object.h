// One named value of the registry at a time: where it is, whether it is there, reading, writing.
#pragma once

#include <windows.h>

#include <string>

#include "automation/registry_key.h"
#include "automation/variant.h"

namespace zsupport {

// Failures of the registry are thrown; that something is absent is not a failure. What is set stays
// set until it is set again. A key stays open while the object works on it.
class RegistryObject {
 public:
  // The types in which a value can be written.
  enum : LONG { kText = REG_SZ, kNumber = REG_DWORD };

  RegistryObject() = default;
  RegistryObject(const RegistryObject&) = delete;
  RegistryObject& operator=(const RegistryObject&) = delete;

  // Whether the current key exists in the current hive.
  bool SectionExists();
  // Makes it; no error when it exists.
  void CreateKey();
  void DeleteValue();

  // The current value: text, Long, or an array of bytes; the default when key or value is absent.
  void Value(Variant& value);
  // Writes a value in the value type: converted to text, or to a 32-bit number. Of the type kText,
  // an array of bytes is written as it is. The key must exist.
  void PutValue(const VARIANT& value);

  void ValueType(LONG type) { valueType_ = type; }
  HKEY Hive() const { return hive_; }
  void Hive(HKEY hive);
  void SectionKey(std::wstring path);
  void ValueKey(std::wstring name) { valueKey_ = std::move(name); }
  void Default(const VARIANT& value) { copyDereferenced(default_, value); }

 private:
  // The current key, open for these rights; null when it is absent.
  HKEY open(REGSAM access);
  void write(DWORD type, const void* data, size_t size);

  HKEY hive_ = HKEY_CURRENT_USER;
  std::wstring sectionKey_;
  std::wstring valueKey_;
  LONG valueType_ = kText;
  Variant default_;
  RegistryKey key_;
  REGSAM access_ = 0;  // the rights of the open key
};

}  // namespace zsupport
