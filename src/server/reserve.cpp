// Memory for the linked-in run-time when there is none left.
//
// To throw, the run-time allocates: the exception, what it keeps for each thread, and the insides
// of its locks. Where that fails it ends the process, and the host with it, although all that there
// was to tell was "out of memory". So what it asks of malloc is served from a reserve when the heap
// has nothing more; the linker leads its calls here (--wrap). Our own objects come from operator
// new and are not served: for them, no memory means error 7.
#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <new>

extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* memory, size_t size);
void __real_free(void* memory);
void* __wrap_malloc(size_t size);
void* __wrap_calloc(size_t count, size_t size);
void* __wrap_realloc(void* memory, size_t size);
void __wrap_free(void* memory);
}

namespace {

constexpr size_t kBlock = 512;   // no exception and nothing else of the run-time's is larger
constexpr size_t kBlocks = 128;  // some four for each thread that throws for the first time

alignas(16) unsigned char reserve[kBlocks][kBlock];
LONG volatile isTaken[kBlocks];

bool isReserved(const void* memory) { return memory >= reserve && memory < reserve + kBlocks; }

void* takeBlock(size_t size) {
  if (size > kBlock) return nullptr;
  for (size_t i = 0; i < kBlocks; ++i) {
    if (InterlockedExchange(&isTaken[i], 1) == 0) return std::memset(reserve[i], 0, kBlock);
  }
  return nullptr;
}

}  // namespace

void* __wrap_malloc(size_t size) {
  void* const memory = __real_malloc(size);
  return memory ? memory : takeBlock(size);
}

void* __wrap_calloc(size_t count, size_t size) {
  void* const memory = __real_calloc(count, size);
  return memory || (size && count > kBlock / size) ? memory : takeBlock(count * size);
}

void* __wrap_realloc(void* old, size_t size) {
  if (old && size == 0) {
    __wrap_free(old);
    return nullptr;
  }
  if (void* const memory = isReserved(old) ? nullptr : __real_realloc(old, size)) return memory;
  void* const memory = isReserved(old) ? __wrap_malloc(size) : takeBlock(size);
  if (!memory || !old) return memory;
  std::memcpy(memory, old, isReserved(old) ? std::min(size, kBlock) : std::min(size, _msize(old)));
  __wrap_free(old);
  return memory;
}

void __wrap_free(void* memory) {
  if (!isReserved(memory)) return __real_free(memory);
  const auto offset = static_cast<size_t>(static_cast<unsigned char*>(memory) - reserve[0]);
  InterlockedExchange(&isTaken[offset / kBlock], 0);
}

void* operator new(size_t size) {
  if (void* const memory = __real_malloc(std::max<size_t>(size, 1))) return memory;
  throw std::bad_alloc();
}
