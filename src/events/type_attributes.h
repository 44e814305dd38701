// Reading type information: what has to be given back.
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

// A type that another one implements or is derived from; the other face of a dual interface is
// number -1.
inline ComPtr<ITypeInfo> implementedType(ITypeInfo* info, UINT index) {
  HREFTYPE reference = 0;
  if (FAILED(info->GetRefTypeOfImplType(index, &reference))) return {};
  return obtain<ITypeInfo>([&](ITypeInfo** out) { return info->GetRefTypeInfo(reference, out); });
}

}  // namespace zsupport
