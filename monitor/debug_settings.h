// The library's own settings: what decides about each, and how they are written.
#pragma once

#include <string>

#include "library.h"

namespace monitor {

// Below HKEY_CURRENT_USER or HKEY_LOCAL_MACHINE.
inline constexpr wchar_t kDebugKey[] =
    L"Software\\Zarnow Instruments Ltd.\\System\\ZSupport\\Debug";
inline constexpr wchar_t kLevelSetting[] = L"Debug Level";
inline constexpr wchar_t kActionSetting[] = L"Default Action";
inline constexpr wchar_t kLogFileSetting[] = L"LogFile";
inline constexpr LONG kDefaultLevel = edlTLogFile | edlLogFile;
inline constexpr LONG kDefaultAction = 3;

enum class Origin { kPolicy, kUser, kMachine, kDefault };

class DebugSettings {
 public:
  // Throws a Failure without the library.
  DebugSettings() : support_(createSupport()) {}

  template <class Value>
  struct Setting {
    Value value;
    Origin origin;
    bool isSound = true;  // false for what is stored and cannot be read as such a value
  };
  Setting<LONG> number(const wchar_t* name, LONG whenMissing) const;
  Setting<std::wstring> text(const wchar_t* name) const;

  // For this user, or for all users of the machine, which takes an administrator's rights. A
  // setting that does not differ from what would hold without it is taken away.
  void write(const wchar_t* name, const _variant_t& value, const _variant_t& whenMissing,
             bool forAllUsers) const;

 private:
  _variant_t read(const wchar_t* name, const _variant_t& whenMissing, Origin& origin) const;

  const Ptr<_GZSupport> support_;
};

}  // namespace monitor
