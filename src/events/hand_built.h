// What the hand-built objects have in common: a reference count that is checked and not
// interlocked, and entry points that name one module in their errors.
#pragma once

#include <windows.h>
#include <unknwn.h>

#include <initializer_list>

#include "automation/error.h"
#include "frame/mdlErrorHandling.h"

namespace zsupport {

// Of sinks and of enumerators.
inline constexpr wchar_t kSinkModule[] = L"mdlWECollectionSink";

template <class Object>
ULONG addReference(Object* self, const wchar_t* label) {
  return atEntryPoint({kSinkModule, label}, ULONG{0}, [&] {
    self->references = addChecked(self->references, 1);
    return static_cast<ULONG>(self->references);
  });
}

// Frees the object when the last reference goes.
template <class Object, class Free>
ULONG dropReference(Object* self, const wchar_t* label, Free&& free) {
  return atEntryPoint({kSinkModule, label}, ULONG{0}, [&] {
    const LONG left = self->references = subtractChecked(self->references, 1);
    if (left == 0) free();
    return static_cast<ULONG>(left);
  });
}

// Answers with the object itself to each of the ids.
template <class Object>
HRESULT answerTo(std::initializer_list<const IID*> ids, Object* self, REFIID riid, void** ppv,
                 const wchar_t* label) {
  return atEntryPoint({kSinkModule, label}, E_UNEXPECTED, [&]() -> HRESULT {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    for (const IID* const id : ids) {
      if (!IsEqualGUID(riid, *id)) continue;
      self->references = addChecked(self->references, 1);
      *ppv = self;
      return S_OK;
    }
    return E_NOINTERFACE;
  });
}

}  // namespace zsupport
