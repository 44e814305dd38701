#include "events/source_memory.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <utility>

namespace zsupport {

ComPtr<KnownClass> KnownClass::create(ITypeInfo* info, PrivateHeap* heap) {
  void* const place = heap->allocate(sizeof(KnownClass));
  return ComPtr<KnownClass>::attach(place ? new (place) KnownClass(info, heap) : nullptr);
}

void KnownClass::Release() {
  if (--references_ != 0) return;
  const ComPtr<PrivateHeap> heap = heap_;
  this->~KnownClass();
  heap->free(this);
}

KnownClass::~KnownClass() {
  while (Name* const name = names_) {
    names_ = name->next;
    SysFreeString(name->text);
    heap_->free(name);
  }
}

void KnownClass::rememberSource(ITypeInfo* classInfo, REFIID iid) {
  classInfo_ = ComPtr<ITypeInfo>(classInfo);
  sourceIID_ = iid;
  isSourceKnown_ = true;
}

BSTR KnownClass::nameOf(REFIID iid, DISPID event) {
  Name** link = &names_;
  while (Name* const name = *link) {
    if (name->event != event || name->iid != iid) {
      link = &name->next;
      continue;
    }
    *link = name->next;
    name->next = std::exchange(names_, name);
    return name->text;
  }
  return nullptr;
}

BSTR KnownClass::rememberName(REFIID iid, DISPID event, std::wstring_view text) {
  auto* const name = nameCount_ < kMostNames ? heap_->allocate<Name>() : nullptr;
  if (!name) return nullptr;
  *name = {names_, event, iid, SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))};
  if (!name->text) {
    heap_->free(name);
    return nullptr;
  }
  names_ = name;
  ++nameCount_;
  return name->text;
}

void SourceMemory::close() {
  // Taken out first: what a class lets go of may call back.
  heap_ = nullptr;
  while (count_ > 0) classes_[--count_].reset();
}

ComPtr<KnownClass> SourceMemory::classOf(ITypeInfo* info) {
  for (int i = 0; i < count_; ++i) {
    if (classes_[i]->isOf(info)) return classes_[i];
  }
  if (!heap_) return {};
  // When it is full, all go; last of all, as what they let go of may call back.
  ComPtr<KnownClass> leaving[kMostClasses];
  if (count_ == kMostClasses) {
    std::swap_ranges(std::begin(classes_), std::end(classes_), leaving);
    count_ = 0;
  }
  auto known = KnownClass::create(info, heap_);
  if (known) classes_[count_++] = known;
  return known;
}

}  // namespace zsupport
