#include "support/failing_memory.h"

#include <windows.h>
#include <oleauto.h>

#include <algorithm>
#include <string_view>
#include <type_traits>
#include <utility>

namespace {

DWORD thread = 0;  // whose memory runs out; 0: nobody's
unsigned left = 0;
FailingMemory::Course course;
unsigned least = 0;
bool failed = false;

bool isRefused() {
  if (thread != GetCurrentThreadId()) return false;
  if (left == 0) return course == FailingMemory::kStaysAway;
  if (--left > 0) return false;
  return failed = true;
}

// What a function of the platform answers when there is no memory.
template <class Result>
Result refusal() {
  if constexpr (std::is_same_v<Result, HRESULT>) {
    return E_OUTOFMEMORY;
  } else {
    return Result{};
  }
}

// Copies and conversions need memory only for what stands on a heap.
bool standsOnAHeap(const VARIANT* value) {
  while (V_VT(value) == (VT_VARIANT | VT_BYREF)) value = V_VARIANTREF(value);
  const int type = V_VT(value) & ~VT_BYREF;
  return type == VT_BSTR || type == VT_RECORD || (type & VT_ARRAY);
}
template <class... Arguments>
bool needsMemory(const Arguments&...) {
  return true;
}
bool needsMemory(const size_t& bytes) { return bytes >= least; }
bool needsMemory(VARIANT*, VARIANT* const& from) { return standsOnAHeap(from); }
bool needsMemory(VARIANT*, VARIANT*, USHORT, VARTYPE type) { return type == VT_BSTR; }
bool needsMemory(VARIANTARG*, VARIANTARG*, LCID, USHORT, VARTYPE type) { return type == VT_BSTR; }

// In the place of one imported function.
template <int id, class Function>
struct Refusable;
template <int id, class Result, class... Arguments>
struct Refusable<id, Result(__cdecl*)(Arguments...)> {
  static inline Result(__cdecl* original)(Arguments...) = nullptr;
  static Result __cdecl call(Arguments... arguments) {
    return needsMemory(arguments...) && isRefused() ? refusal<Result>() : original(arguments...);
  }
};
template <int id, class Result, class... Arguments>
struct Refusable<id, Result(__stdcall*)(Arguments...)> {
  static inline Result(__stdcall* original)(Arguments...) = nullptr;
  static Result __stdcall call(Arguments... arguments) {
    return needsMemory(arguments...) && isRefused() ? refusal<Result>() : original(arguments...);
  }
};

struct Import {
  std::string_view name;
  void* replacement;
  void** original;
};
template <int id, class Function>
Import refusable(std::string_view name, Function) {
  using Hook = Refusable<id, Function>;
  return {name, reinterpret_cast<void*>(&Hook::call), reinterpret_cast<void**>(&Hook::original)};
}
#define IMPORT(function) refusable<__COUNTER__>(#function, &function)
const Import kImports[] = {
    IMPORT(malloc),
    IMPORT(calloc),
    IMPORT(realloc),
    IMPORT(HeapAlloc),
    IMPORT(HeapReAlloc),
    IMPORT(HeapCreate),
    IMPORT(GlobalAlloc),
    IMPORT(LocalAlloc),
    IMPORT(CoTaskMemAlloc),
    IMPORT(CreateErrorInfo),
    IMPORT(LHashValOfNameSys),
    IMPORT(SysAllocString),
    IMPORT(SysAllocStringLen),
    IMPORT(SysAllocStringByteLen),
    IMPORT(SysReAllocString),
    IMPORT(SysReAllocStringLen),
    IMPORT(SafeArrayCreate),
    IMPORT(SafeArrayCreateEx),
    IMPORT(SafeArrayCreateVector),
    IMPORT(SafeArrayCopy),
    IMPORT(SafeArrayRedim),
    IMPORT(VariantCopy),
    IMPORT(VariantCopyInd),
    IMPORT(VariantChangeType),
    IMPORT(VariantChangeTypeEx),
};

void replace(void*& slot, const Import& import) {
  DWORD protection = 0;
  VirtualProtect(&slot, sizeof slot, PAGE_READWRITE, &protection);
  *import.original = std::exchange(slot, import.replacement);
  VirtualProtect(&slot, sizeof slot, protection, &protection);
}

// Once for the process: the library is never unloaded.
bool hookImports() {
  auto* const base = reinterpret_cast<BYTE*>(GetModuleHandleW(L"ZSupport.dll"));
  if (!base) return false;
  const auto at = [base](DWORD offset) { return base + offset; };
  const auto* const headers = reinterpret_cast<IMAGE_NT_HEADERS*>(
      at(static_cast<DWORD>(reinterpret_cast<IMAGE_DOS_HEADER*>(base)->e_lfanew)));
  const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  auto* library = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(at(directory.VirtualAddress));
  size_t found = 0;
  for (; library->Name; ++library) {
    auto* name = reinterpret_cast<IMAGE_THUNK_DATA*>(at(library->OriginalFirstThunk));
    auto* slot = reinterpret_cast<void**>(at(library->FirstThunk));
    for (; name->u1.AddressOfData; ++name, ++slot) {
      if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
      const auto* const named = reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(at(name->u1.AddressOfData));
      const auto import = std::ranges::find(
          kImports, std::string_view(reinterpret_cast<const char*>(named->Name)), &Import::name);
      if (import == std::end(kImports)) continue;
      replace(*slot, *import);
      ++found;
    }
  }
  return found > 10;
}

}  // namespace

FailingMemory::FailingMemory(unsigned n, Course chosen, unsigned leastSize) {
  static const bool isHooked = hookImports();
  left = n;
  course = chosen;
  least = leastSize;
  failed = !isHooked;
  thread = isHooked ? GetCurrentThreadId() : 0;
}

FailingMemory::~FailingMemory() { thread = 0; }

bool FailingMemory::hasFailed() { return failed; }
