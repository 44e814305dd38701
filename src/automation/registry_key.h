// Owner of one open registry key.
#pragma once

#include <windows.h>

namespace zsupport {

class RegistryKey {
 public:
  RegistryKey() = default;
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;
  ~RegistryKey() { close(); }
  explicit operator bool() const { return key_ != nullptr; }
  HKEY get() const { return key_; }
  // For out parameters.
  HKEY* put() {
    close();
    return &key_;
  }
  void close() {
    if (key_) RegCloseKey(key_);
    key_ = nullptr;
  }

 private:
  HKEY key_ = nullptr;
};

}  // namespace zsupport
