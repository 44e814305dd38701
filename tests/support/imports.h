// The functions through which a loaded module calls others.
#pragma once

#include <windows.h>

#include <dbghelp.h>
#include <string_view>
#include <utility>

// The entry of its import table; null if it calls no such function.
inline void** importOf(HMODULE module, std::string_view wanted) {
  const auto at = [module](DWORD offset) { return reinterpret_cast<BYTE*>(module) + offset; };
  ULONG size = 0;
  auto* library = static_cast<IMAGE_IMPORT_DESCRIPTOR*>(
      ImageDirectoryEntryToData(module, TRUE, IMAGE_DIRECTORY_ENTRY_IMPORT, &size));
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
  return std::exchange(*entry, function);
}
