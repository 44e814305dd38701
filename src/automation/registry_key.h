// Owner of one open registry key.
#pragma once

#include <windows.h>

namespace zsupport {

class RegistryKey {
 public:
  RegistryKey() = default;
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;
  ~RegistryKey() {
    if (key_) RegCloseKey(key_);
  }
  explicit operator bool() const { return key_ != nullptr; }
  HKEY get() const { return key_; }
  // For out parameters; to be used once.
  HKEY* put() { return &key_; }

 private:
  HKEY key_ = nullptr;
};

}  // namespace zsupport
