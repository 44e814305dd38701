// An array of 32-bit addresses in the form of the platform's arrays: the descriptor lives in the
// object that owns the array, the storage is a buffer of somebody else's.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include "automation/error.h"

namespace zsupport {

template <class T>
class AddressArray {
 public:
  // An array without elements and storage, which every access is out of range of.
  AddressArray() { close(); }

  void open(void* buffer, ULONG elements, LONG lowerBound) {
    descriptor_ = {1,      FADF_STATIC | FADF_FIXEDSIZE, sizeof(T*), 0,
                   buffer, {{elements, lowerBound}}};
  }
  void close() { descriptor_ = {}; }

  LONG size() const { return static_cast<LONG>(descriptor_.rgsabound[0].cElements); }
  void resize(LONG elements) { descriptor_.rgsabound[0].cElements = static_cast<ULONG>(elements); }

  void* buffer() const { return descriptor_.pvData; }
  void buffer(void* storage) { descriptor_.pvData = storage; }

  // Error 9 when the index is out of bounds.
  T*& operator[](LONG index) const {
    const SAFEARRAYBOUND& bound = descriptor_.rgsabound[0];
    if (index < bound.lLbound || index - bound.lLbound >= size()) {
      throw makeError(runtime::kSubscriptOutOfRange);
    }
    return slots()[index - bound.lLbound];
  }

  // The storage itself, zero-based and unchecked.
  T** slots() const { return static_cast<T**>(descriptor_.pvData); }

 private:
  SAFEARRAY descriptor_;
};

static_assert(sizeof(void*) == 4, "item records and nodes are identified by 32-bit addresses");

}  // namespace zsupport
