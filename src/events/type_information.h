// Reading type information.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include "automation/com_ptr.h"

namespace zsupport {

// The attributes of a type, given back at the end of the scope.
class TypeAttributes {
 public:
  explicit TypeAttributes(ITypeInfo* info) : info_(info) {
    if (!info_ || FAILED(info_->GetTypeAttr(&attributes_))) attributes_ = nullptr;
  }
  TypeAttributes(const TypeAttributes&) = delete;
  TypeAttributes& operator=(const TypeAttributes&) = delete;
  ~TypeAttributes() {
    if (attributes_) info_->ReleaseTypeAttr(attributes_);
  }
  explicit operator bool() const { return attributes_ != nullptr; }
  const TYPEATTR* operator->() const { return attributes_; }

 private:
  ITypeInfo* info_;
  TYPEATTR* attributes_ = nullptr;
};

// The description of one member, likewise.
class MemberDescription {
 public:
  MemberDescription(ITypeInfo* info, UINT index) : info_(info) {
    if (FAILED(info_->GetFuncDesc(index, &description_))) description_ = nullptr;
  }
  MemberDescription(const MemberDescription&) = delete;
  MemberDescription& operator=(const MemberDescription&) = delete;
  ~MemberDescription() {
    if (description_) info_->ReleaseFuncDesc(description_);
  }
  explicit operator bool() const { return description_ != nullptr; }
  const FUNCDESC* operator->() const { return description_; }
  const FUNCDESC* get() const { return description_; }

 private:
  ITypeInfo* info_;
  FUNCDESC* description_ = nullptr;
};

// What an object tells of itself; empty when that is nothing.
inline ComPtr<ITypeInfo> typeInfoOfItem(IDispatch* item) {
  if (!item) return {};
  return obtain<ITypeInfo>([&](ITypeInfo** out) { return item->GetTypeInfo(0, 0, out); });
}

// The library that a type is described in.
inline ComPtr<ITypeLib> libraryOf(ITypeInfo* info) {
  if (!info) return {};
  UINT index = 0;
  return obtain<ITypeLib>([&](ITypeLib** out) { return info->GetContainingTypeLib(out, &index); });
}

// The description of another type in the same library.
inline ComPtr<ITypeInfo> describedBeside(ITypeInfo* info, REFGUID id) {
  const auto library = libraryOf(info);
  if (!library) return {};
  return obtain<ITypeInfo>([&](ITypeInfo** out) { return library->GetTypeInfoOfGuid(id, out); });
}

// A type that another one implements or is derived from; the other face of a dual interface is
// number -1.
inline ComPtr<ITypeInfo> implementedType(ITypeInfo* info, UINT index) {
  HREFTYPE reference = 0;
  if (FAILED(info->GetRefTypeOfImplType(index, &reference))) return {};
  return obtain<ITypeInfo>([&](ITypeInfo** out) { return info->GetRefTypeInfo(reference, out); });
}

}  // namespace zsupport
