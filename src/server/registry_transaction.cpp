#include "server/registry_transaction.h"

#include "automation/error.h"
#include "automation/registry_key.h"

namespace zsupport {

RegistryTransaction::~RegistryTransaction() {
  for (auto step = steps_.rbegin(); step != steps_.rend(); ++step) takeBack(*step);
}

void RegistryTransaction::write(const Row& row) {
  createPath(row.key, row.view);
  RegistryKey key;
  checkWin32(RegOpenKeyExW(hive_, row.key.c_str(), 0, KEY_READ | KEY_WRITE | row.view, key.put()));
  steps_.push_back({row.key, row.name, row.view, oldValue(key.get(), row.name), false});
  if (row.number) {
    checkWin32(RegSetValueExW(key.get(), row.name.c_str(), 0, REG_DWORD,
                              reinterpret_cast<const BYTE*>(&*row.number), sizeof *row.number));
    return;
  }
  checkWin32(RegSetValueExW(key.get(), row.name.c_str(), 0, REG_SZ,
                            reinterpret_cast<const BYTE*>(row.value.c_str()),
                            static_cast<DWORD>((row.value.size() + 1) * sizeof(wchar_t))));
}

// The missing keys of a path one by one, to know which were.
void RegistryTransaction::createPath(const std::wstring& path, REGSAM view) {
  for (size_t end = 0; end != std::wstring::npos;) {
    end = path.find(L'\\', end + 1);
    Step step = {path.substr(0, end), L"", view, std::nullopt, true};
    RegistryKey key;
    DWORD disposition = 0;
    steps_.reserve(steps_.size() + 1);
    checkWin32(RegCreateKeyExW(hive_, step.key.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE | view,
                               nullptr, key.put(), &disposition));
    if (disposition == REG_CREATED_NEW_KEY) steps_.push_back(std::move(step));
  }
}

std::optional<RegistryTransaction::Value> RegistryTransaction::oldValue(HKEY key,
                                                                        const std::wstring& name) {
  Value value{};
  DWORD size = 0;
  if (RegQueryValueExW(key, name.c_str(), nullptr, &value.type, nullptr, &size)) return {};
  value.data.resize(size);
  if (RegQueryValueExW(key, name.c_str(), nullptr, nullptr, value.data.data(), &size)) return {};
  return value;
}

void RegistryTransaction::takeBack(const Step& step) const {
  if (step.keyIsNew) {
    RegDeleteKeyExW(hive_, step.key.c_str(), step.view, 0);
    return;
  }
  RegistryKey key;
  if (RegOpenKeyExW(hive_, step.key.c_str(), 0, KEY_WRITE | step.view, key.put())) return;
  if (step.old) {
    RegSetValueExW(key.get(), step.name.c_str(), 0, step.old->type, step.old->data.data(),
                   static_cast<DWORD>(step.old->data.size()));
  } else {
    RegDeleteValueW(key.get(), step.name.c_str());
  }
}

}  // namespace zsupport
