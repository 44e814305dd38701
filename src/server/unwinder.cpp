#include "server/unwinder.h"

#include <windows.h>

extern "C" {
IMAGE_DOS_HEADER extern __ImageBase;
// Of the linked-in run-time. The second argument is its bookkeeping for one module.
void __register_frame_info(const void* tables, void* bookkeeping);
}

namespace zsupport {
namespace {

constexpr char kSharedRuntime[] = "libgcc_s_dw2-1.dll";
// The head of the first record of unwind tables.
struct CommonInformation {
  DWORD length;
  DWORD id;  // 0 in unwind tables, all ones in their debug-only cousin
  BYTE version;
  char augmentation;  // "z" and more
};

// By content: the linker cuts section names to eight characters or moves them out of the image.
bool isUnwindSection(const char* content, const IMAGE_SECTION_HEADER& section) {
  const auto& head = *reinterpret_cast<const CommonInformation*>(content);
  return section.Misc.VirtualSize > sizeof head && head.id == 0 && head.version == 1 &&
         head.augmentation == 'z' && head.length > sizeof head && head.length < 256;
}

const void* unwindTables() {
  auto* const base = reinterpret_cast<const char*>(&__ImageBase);
  auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + __ImageBase.e_lfanew);
  auto* section = reinterpret_cast<const IMAGE_SECTION_HEADER*>(
      reinterpret_cast<const char*>(&headers->OptionalHeader) +
      headers->FileHeader.SizeOfOptionalHeader);
  for (WORD i = 0; i < headers->FileHeader.NumberOfSections; ++i, ++section) {
    const char* const content = base + section->VirtualAddress;
    if (isUnwindSection(content, *section)) return content;
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
