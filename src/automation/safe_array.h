// Safe arrays: an owner, and views of the elements.
//
// A view locks its array: nothing, foreign code included, frees or resizes it while the view
// lives. It takes no array of another element type than its own (error 13).
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "automation/error.h"
#include "automation/variant.h"

namespace zsupport {

// Owner of one array; null is the array that is not dimensioned.
class SafeArray {
 public:
  SafeArray() = default;
  SafeArray(SafeArray&& other) noexcept : array_(std::exchange(other.array_, nullptr)) {}
  SafeArray& operator=(SafeArray other) noexcept {
    std::swap(array_, other.array_);
    return *this;
  }
  ~SafeArray() {
    if (array_) SafeArrayDestroy(array_);
  }

  // Takes over what a call of the platform made; throws std::bad_alloc when it made none.
  static SafeArray attach(SAFEARRAY* owned);
  // Bounds in the order of storage, last dimension first.
  static SafeArray make(VARTYPE element, std::span<const SAFEARRAYBOUND> bounds);
  // One dimension from 0 on. (Not what the platform calls a vector: those cannot be resized.)
  static SafeArray vector(VARTYPE element, ULONG count);

  SAFEARRAY* get() const { return array_; }
  explicit operator bool() const { return array_ != nullptr; }
  SAFEARRAY** inout() { return &array_; }
  SAFEARRAY* detach() { return std::exchange(array_, nullptr); }

 private:
  SAFEARRAY* array_ = nullptr;
};

// VT_EMPTY when the array does not tell.
VARTYPE elementTypeOf(SAFEARRAY& array);

// Whether the array may get another size; views lock theirs.
bool isResizable(const SAFEARRAY& array);

// Another size for the last dimension; errors 7 and 10.
void resize(SAFEARRAY& array, SAFEARRAYBOUND bound);

// The lock, and the elements as they are stored, whatever the dimensions.
class ArrayLock {
 public:
  explicit ArrayLock(SAFEARRAY* array);
  ArrayLock(const ArrayLock&) = delete;
  ArrayLock& operator=(const ArrayLock&) = delete;
  ~ArrayLock() { unlock(); }
  void unlock() {
    if (SAFEARRAY* const array = std::exchange(array_, nullptr)) SafeArrayUnlock(array);
  }

  size_t size() const { return size_; }
  void* address(size_t position) const {
    return static_cast<std::byte*>(array_->pvData) + position * array_->cbElements;
  }

 protected:
  SAFEARRAY* array() const { return array_; }
  void requireElements(VARTYPE type, size_t size) const;
  void requireOneDimension() const;

 private:
  SAFEARRAY* array_;
  size_t size_ = 0;
};

template <class T>
inline constexpr VARTYPE kElementType = Automation<T>::kType;
template <>
inline constexpr VARTYPE kElementType<VARIANT> = VT_VARIANT;

// By position in storage, from 0 on; of an array that is not dimensioned there are none.
template <class T>
class ArrayElements : public ArrayLock {
 public:
  explicit ArrayElements(SAFEARRAY* array) : ArrayLock(array) {
    requireElements(kElementType<T>, sizeof(T));
  }
  T& operator[](size_t position) const { return *static_cast<T*>(address(position)); }
};

// By index; error 9 unless the array has one dimension.
template <class T>
class VectorElements : public ArrayElements<T> {
 public:
  explicit VectorElements(SAFEARRAY* array) : ArrayElements<T>(array) {
    this->requireOneDimension();
  }
  LONG lower() const { return this->array()->rgsabound[0].lLbound; }
  // One below lower() when there is no element; error 6 when no Long can say it.
  LONG upper() const {
    const int64_t upper = int64_t{lower()} + static_cast<int64_t>(this->size()) - 1;
    if (upper < LONG_MIN || upper > LONG_MAX) throw makeError(runtime::kOverflow);
    return static_cast<LONG>(upper);
  }
  T& at(LONG index) const {
    const int64_t position = int64_t{index} - lower();
    if (position < 0 || position >= static_cast<int64_t>(this->size())) {
      throw makeError(runtime::kSubscriptOutOfRange);
    }
    return (*this)[static_cast<size_t>(position)];
  }
};

}  // namespace zsupport
