// The enumerators of connection points and connections: a frozen list, one class for both.
#pragma once

#include <windows.h>
#include <ocidl.h>

#include <algorithm>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "automation/com_object.h"

namespace zsupport {

// Runs the body of a method that fails for want of memory only.
template <class Body>
HRESULT unlessOutOfMemory(Body&& body) noexcept {
  try {
    body();
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

// Enumerator is the interface, Held what is kept per element (copyable), Handed what a caller
// gets; give() turns the first into the second, with a reference for the caller.
template <class Enumerator, class Held, class Handed, void (*give)(const Held&, Handed*)>
class SnapshotEnumerator final : public ComObject<Enumerator> {
 public:
  explicit SnapshotEnumerator(std::vector<Held> list) : list_(std::move(list)) {}

  // Enumerator
  HRESULT STDMETHODCALLTYPE Next(ULONG wanted, Handed* elements, ULONG* fetched) override {
    if (fetched) *fetched = 0;
    if (!elements || (!fetched && wanted > 1)) return E_POINTER;
    const ULONG count = std::min(wanted, left());
    for (ULONG i = 0; i < count; ++i) give(list_[position_++], &elements[i]);
    if (fetched) *fetched = count;
    return count == wanted ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG wanted) override {
    const ULONG count = std::min(wanted, left());
    position_ += count;
    return count == wanted ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Reset() override {
    position_ = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Clone(Enumerator** copy) override {
    if (!copy) return E_POINTER;
    *copy = nullptr;
    return unlessOutOfMemory([&] {
      auto clone = std::make_unique<SnapshotEnumerator>(list_);
      clone->position_ = position_;
      *copy = clone.release();
    });
  }

 private:
  ULONG left() const { return static_cast<ULONG>(list_.size() - position_); }

  const std::vector<Held> list_;
  size_t position_ = 0;
};

}  // namespace zsupport
