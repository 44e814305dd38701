// What has been found out about the classes of a collection's items.
//
// Which event interface a class has, and what its events are called, is told by its type
// information, and does not change while that is held; to ask costs up to a thousand times what an
// event does. So both are remembered, by the type information that an item shows: each item is
// asked for it anew, and whoever shows another one is looked into anew. Only what type information
// has answered is remembered. What it leaves open, and what is done then, is the item's own affair.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include <string_view>

#include "automation/com_ptr.h"
#include "automation/private_heap.h"
#include "automation/text.h"

namespace zsupport {

// One class, in the heap of the collection, counted: an event keeps it while its name is out.
class KnownClass {
 public:
  // Null when there is no memory.
  static ComPtr<KnownClass> create(ITypeInfo* info, PrivateHeap* heap);
  KnownClass(const KnownClass&) = delete;
  KnownClass& operator=(const KnownClass&) = delete;

  void AddRef() { ++references_; }
  void Release();

  bool isOf(const ITypeInfo* info) const { return info_.get() == info; }

  // The default event interface of items that show this class information, or none; null when it is
  // not known.
  const IID* sourceOf(const ITypeInfo* classInfo) const {
    return isSourceKnown_ && classInfo_.get() == classInfo ? &sourceIID_ : nullptr;
  }
  void rememberSource(ITypeInfo* classInfo, REFIID iid);

  // The name of an event; null when it is not known.
  BSTR nameOf(REFIID iid, DISPID event);
  // Keeps a name, and returns it; null when there is no memory or there are too many.
  BSTR rememberName(REFIID iid, DISPID event, std::wstring_view name);

 private:
  struct Name {
    Name* next;
    DISPID event;
    IID iid;
    BSTR text;
  };
  static constexpr int kMostNames = 256;

  KnownClass(ITypeInfo* info, PrivateHeap* heap) : heap_(heap), info_(info) {}
  ~KnownClass();

  LONG references_ = 1;
  ComPtr<PrivateHeap> heap_;
  const ComPtr<ITypeInfo> info_;
  bool isSourceKnown_ = false;
  ComPtr<ITypeInfo> classInfo_;
  IID sourceIID_{};
  Name* names_ = nullptr;  // the last one that was asked for first
  int nameCount_ = 0;
};

// The classes of one collection. To be closed when its heap is: what is held here may keep a
// foreign module loaded.
class SourceMemory {
 public:
  void open(PrivateHeap* heap) { heap_ = heap; }
  void close();

  // What is known of the class; empty when nothing can be kept.
  ComPtr<KnownClass> classOf(ITypeInfo* info);

 private:
  static constexpr int kMostClasses = 32;

  PrivateHeap* heap_ = nullptr;
  ComPtr<KnownClass> classes_[kMostClasses];
  int count_ = 0;
};

}  // namespace zsupport
