// Unwind tables: how the linked-in run-time finds its way when something is thrown.
//
// Every module built with this compiler registers its tables at start-up. The compiler's own
// start-up code looks for the shared run-time first, through all folders of the search path, and
// when a host has it loaded, gives our tables to that one: our own, linked-in unwinder then stays
// empty, and the first throw ends the process. So the linker leads that step here (--wrap), where
// the tables go to our own unwinder whatever else is in the process.
#include <windows.h>

extern "C" {
IMAGE_DOS_HEADER extern __ImageBase;
// Of the linked-in run-time. The second argument is its bookkeeping for one module.
void __register_frame_info(const void* tables, void* bookkeeping);
void __wrap___gcc_register_frame();
}

namespace {

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

void __wrap___gcc_register_frame() {
  static void* bookkeeping[16];
  if (const void* const tables = unwindTables()) __register_frame_info(tables, bookkeeping);
}
