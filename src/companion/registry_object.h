// One named value of the registry at a time: where it is, whether it is there, reading, writing.
#pragma once

#include <windows.h>

#include <string>

#include "automation/registry_key.h"
#include "automation/variant.h"

namespace zsupport {

// Failures of the registry are thrown; that something is absent is not a failure. What is set stays
// set until it is set again.
class RegistryObject {
 public:
  // The types in which a value can be written.
  enum : LONG { kText = REG_SZ, kNumber = REG_DWORD };

  RegistryObject() = default;
  RegistryObject(const RegistryObject&) = delete;
  RegistryObject& operator=(const RegistryObject&) = delete;

  // Whether the current key exists in the current hive.
  bool SectionExists() const;
  void CreateKey() const;
  void DeleteValue() const;

  // The current value: text, Long, or an array of bytes; the default when key or value is absent.
  void Value(Variant& value) const;
  // Writes a value in the value type: converted to text, or to a 32-bit number.
  void PutValue(const VARIANT& value) const;

  void ValueType(LONG type) { valueType_ = type; }
  HKEY Hive() const { return hive_; }
  void Hive(HKEY hive) { hive_ = hive; }
  void SectionKey(std::wstring path) { sectionKey_ = std::move(path); }
  void ValueKey(std::wstring name) { valueKey_ = std::move(name); }
  void Default(const VARIANT& value) { copyDereferenced(default_, value); }

 private:
  // Leaves the key closed when it is absent.
  void open(RegistryKey& key, REGSAM access) const;

  HKEY hive_ = HKEY_CURRENT_USER;
  std::wstring sectionKey_;
  std::wstring valueKey_;
  LONG valueType_ = kText;
  Variant default_;
};

}  // namespace zsupport
