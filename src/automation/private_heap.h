// The private heap of one collection. All of its blocks go at once when the heap goes, which is
// when its last holder lets go: the collection, a call that is working on a block, an enumerator.
#pragma once

#include <windows.h>

#include <new>

#include "automation/com_ptr.h"

namespace zsupport {

class PrivateHeap {
 public:
  // Growable without limit; empty when the platform has no memory for it.
  static ComPtr<PrivateHeap> create(SIZE_T initialBytes) {
    const HANDLE heap = HeapCreate(0, initialBytes, 0);
    if (!heap) return {};
    void* const place = HeapAlloc(heap, 0, sizeof(PrivateHeap));
    if (!place) HeapDestroy(heap);
    return ComPtr<PrivateHeap>::attach(place ? new (place) PrivateHeap(heap) : nullptr);
  }
  PrivateHeap(const PrivateHeap&) = delete;
  PrivateHeap& operator=(const PrivateHeap&) = delete;

  void AddRef() { ++holders_; }
  void Release() {
    if (--holders_ == 0) HeapDestroy(heap_);  // this object is in it, too
  }

  // Zeroed; null when there is no memory.
  void* allocate(SIZE_T bytes) { return HeapAlloc(heap_, HEAP_ZERO_MEMORY, bytes); }
  template <class T>
  T* allocate() {
    return static_cast<T*>(allocate(sizeof(T)));
  }
  void* reallocate(void* block, SIZE_T bytes) { return HeapReAlloc(heap_, 0, block, bytes); }
  void free(void* block) { HeapFree(heap_, 0, block); }

 private:
  explicit PrivateHeap(HANDLE heap) : heap_(heap) {}

  const HANDLE heap_;
  LONG holders_ = 1;
};

}  // namespace zsupport
