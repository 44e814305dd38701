// Owner of one interface reference.
#pragma once

#include <windows.h>

#include <utility>

namespace zsupport {

template <class T>
class ComPtr {
 public:
  ComPtr() = default;
  explicit ComPtr(T* borrowed) : pointer_(borrowed) {
    if (pointer_) pointer_->AddRef();
  }
  ComPtr(const ComPtr& other) : ComPtr(other.pointer_) {}
  ComPtr(ComPtr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(pointer_, other.pointer_);
    return *this;
  }
  ~ComPtr() { reset(); }

  // Takes over a reference that the caller owns.
  static ComPtr attach(T* owned) {
    ComPtr result;
    result.pointer_ = owned;
    return result;
  }

  // The interface T of any object, or the one of another id that is used as T; empty when the
  // object is null or has none.
  static ComPtr from(IUnknown* object, REFIID id = __uuidof(T)) {
    void* found = nullptr;
    if (!object || FAILED(object->QueryInterface(id, &found))) return ComPtr();
    return attach(static_cast<T*>(found));
  }

  T* get() const { return pointer_; }
  T* operator->() const { return pointer_; }
  explicit operator bool() const { return pointer_ != nullptr; }

  // For out parameters; what was held is released first.
  T** put() {
    reset();
    return &pointer_;
  }
  void** putVoid() { return reinterpret_cast<void**>(put()); }

  T* detach() { return std::exchange(pointer_, nullptr); }

  void reset() {
    if (T* const old = detach()) old->Release();
  }

 private:
  T* pointer_ = nullptr;
};

// What a call hands out through its pointer parameter; empty when it fails, whatever it wrote.
template <class T, class Call>
ComPtr<T> obtain(Call&& call) {
  T* handedOut = nullptr;
  return SUCCEEDED(call(&handedOut)) ? ComPtr<T>::attach(handedOut) : ComPtr<T>();
}

}  // namespace zsupport
