// Writing many registry values, all or none.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace zsupport {

// The registry as this process sees it, and as 64-bit programs do.
inline constexpr REGSAM kOwnView = 0, k64BitView = KEY_WOW64_64KEY;

// One value below the hive; an empty name is the key's default value.
struct Row {
  std::wstring key;
  std::wstring name;
  std::wstring value;
  REGSAM view = kOwnView;
  std::optional<DWORD> number = {};  // instead of the text
};

// Keeps what was there before, and takes everything back unless it is committed.
class RegistryTransaction {
 public:
  explicit RegistryTransaction(HKEY hive) : hive_(hive) {}
  RegistryTransaction(const RegistryTransaction&) = delete;
  RegistryTransaction& operator=(const RegistryTransaction&) = delete;
  ~RegistryTransaction();

  void write(const Row& row);
  void commit() { steps_.clear(); }

 private:
  struct Value {
    DWORD type;
    std::vector<BYTE> data;
  };
  struct Step {
    std::wstring key;
    std::wstring name;
    REGSAM view;
    std::optional<Value> old;
    bool keyIsNew;
  };

  void createPath(const std::wstring& path, REGSAM view);
  static std::optional<Value> oldValue(HKEY key, const std::wstring& name);
  void takeBack(const Step& step) const;

  const HKEY hive_;
  std::vector<Step> steps_;
};

}  // namespace zsupport
