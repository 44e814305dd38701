#include "support/failing_memory.h"

#include <windows.h>
#include <oleauto.h>

#include <type_traits>

#include "support/imports.h"

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
};
template <int id, class Function>
Import refusable(std::string_view name, Function original) {
  using Hook = Refusable<id, Function>;
  Hook::original = original;
  return {name, reinterpret_cast<void*>(&Hook::call)};
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

// Once for the process: the library is never unloaded.
bool hookImports() {
  size_t found = 0;
  for (const auto& [name, replacement] : kImports) {
    if (void** const entry = importOf(GetModuleHandleW(L"ZSupport.dll"), name)) {
      exchangeImport(entry, replacement);
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
