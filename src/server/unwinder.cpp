#include "server/unwinder.h"

#include <windows.h>

#include <cstring>

extern "C" {
IMAGE_DOS_HEADER extern __ImageBase;
// Of the linked-in run-time. The second argument is its bookkeeping for one module.
void __register_frame_info(const void* tables, void* bookkeeping);
}

namespace zsupport {
namespace {

constexpr char kSharedRuntime[] = "libgcc_s_dw2-1.dll";
// Section names of an image have eight characters; the linker is told to keep it at that.
constexpr char kUnwindSection[IMAGE_SIZEOF_SHORT_NAME] = {'.', 'e', 'h', '_', 'f', 'r', 'a', 'm'};

const void* unwindTables() {
  auto* const base = reinterpret_cast<const char*>(&__ImageBase);
  auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + __ImageBase.e_lfanew);
  auto* section = reinterpret_cast<const IMAGE_SECTION_HEADER*>(
      reinterpret_cast<const char*>(&headers->OptionalHeader) +
      headers->FileHeader.SizeOfOptionalHeader);
  for (WORD i = 0; i < headers->FileHeader.NumberOfSections; ++i, ++section) {
    if (std::memcmp(section->Name, kUnwindSection, sizeof kUnwindSection) == 0) {
      return base + section->VirtualAddress;
    }
  }
  return nullptr;
}

}  // namespace

void registerUnwindTables() {
  static void* bookkeeping[16];
  if (!GetModuleHandleA(kSharedRuntime)) return;
  if (const void* const tables = unwindTables()) __register_frame_info(tables, bookkeeping);
}

}  // namespace zsupport
