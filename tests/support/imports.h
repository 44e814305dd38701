// The functions through which a loaded module calls others.
#pragma once

#include <windows.h>

#include <string_view>
#include <utility>

// The entry of its import table; null if it calls no such function.
inline void** importOf(HMODULE module, std::string_view wanted) {
  auto* const base = reinterpret_cast<BYTE*>(module);
  const auto at = [base](DWORD offset) { return base + offset; };
  const auto* const headers = reinterpret_cast<IMAGE_NT_HEADERS*>(
      at(static_cast<DWORD>(reinterpret_cast<IMAGE_DOS_HEADER*>(base)->e_lfanew)));
  const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  auto* library = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(at(directory.VirtualAddress));
  for (; library->Name; ++library) {
    auto* name = reinterpret_cast<IMAGE_THUNK_DATA*>(at(library->OriginalFirstThunk));
    auto* entry = reinterpret_cast<void**>(at(library->FirstThunk));
    for (; name->u1.AddressOfData; ++name, ++entry) {
      if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
      const auto* const named = reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(at(name->u1.AddressOfData));
      if (wanted == reinterpret_cast<const char*>(named->Name)) return entry;
    }
  }
  return nullptr;
}

inline void* exchangeImport(void** entry, void* function) {
  DWORD protection = 0;
  VirtualProtect(entry, sizeof *entry, PAGE_READWRITE, &protection);
  void* const before = std::exchange(*entry, function);
  VirtualProtect(entry, sizeof *entry, protection, &protection);
  return before;
}
