// The private heap of one collection. All of its blocks go at once when the heap goes.
#pragma once

#include <windows.h>

namespace zsupport {

class PrivateHeap {
 public:
  // Growable without limit; not open when the platform has no memory for it.
  explicit PrivateHeap(SIZE_T initialBytes) : heap_(HeapCreate(0, initialBytes, 0)) {}
  PrivateHeap(const PrivateHeap&) = delete;
  PrivateHeap& operator=(const PrivateHeap&) = delete;
  ~PrivateHeap() {
    if (heap_) HeapDestroy(heap_);
  }

  bool isOpen() const { return heap_ != nullptr; }

  // Zeroed; null when there is no memory.
  void* allocate(SIZE_T bytes) { return HeapAlloc(heap_, HEAP_ZERO_MEMORY, bytes); }
  template <class T>
  T* allocate() {
    return static_cast<T*>(allocate(sizeof(T)));
  }
  void* reallocate(void* block, SIZE_T bytes) { return HeapReAlloc(heap_, 0, block, bytes); }
  void free(void* block) { HeapFree(heap_, 0, block); }

 private:
  const HANDLE heap_;
};

}  // namespace zsupport
