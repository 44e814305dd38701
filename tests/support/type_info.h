// Walks what a type library describes.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include <gtest/gtest.h>

template <class Body>
void forEachMember(ITypeInfo* info, Body&& body) {
  TYPEATTR* attributes;
  ASSERT_EQ(S_OK, info->GetTypeAttr(&attributes));
  for (UINT i = 0; i < attributes->cFuncs; ++i) {
    FUNCDESC* function;
    ASSERT_EQ(S_OK, info->GetFuncDesc(i, &function));
    if (!(function->wFuncFlags & FUNCFLAG_FRESTRICTED)) body(*function);
    info->ReleaseFuncDesc(function);
  }
  info->ReleaseTypeAttr(attributes);
}
