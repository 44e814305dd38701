#include "automation/safe_array.h"

#include <cstdint>
#include <new>

namespace zsupport {

SafeArray SafeArray::attach(SAFEARRAY* owned) {
  if (!owned) throw std::bad_alloc();
  SafeArray result;
  result.array_ = owned;
  return result;
}

SafeArray SafeArray::vector(VARTYPE element, ULONG count) {
  SAFEARRAYBOUND bound = {count, 0};
  return attach(SafeArrayCreate(element, 1, &bound));
}

VARTYPE elementTypeOf(SAFEARRAY& array) {
  VARTYPE type = VT_EMPTY;
  if (SUCCEEDED(SafeArrayGetVartype(&array, &type))) return type;
  if (array.fFeatures & FADF_BSTR) return VT_BSTR;
  if (array.fFeatures & FADF_VARIANT) return VT_VARIANT;
  return VT_EMPTY;
}

bool isResizable(const SAFEARRAY& array) {
  constexpr USHORT kVector = 0x2000;  // descriptor and elements in one piece
  return array.cLocks == 0 &&
         !(array.fFeatures & (FADF_FIXEDSIZE | FADF_STATIC | FADF_AUTO | FADF_EMBEDDED | kVector));
}

ArrayLock::ArrayLock(SAFEARRAY* array) : array_(array) {
  if (!array) return;
  uint64_t size = array->cDims > 0 ? 1 : 0;
  for (USHORT i = 0; i < array->cDims; ++i) {
    size *= array->rgsabound[i].cElements;
    if (size > SIZE_MAX) throw makeError(runtime::kOutOfMemory);
  }
  if (size > 0 && !array->pvData) throw makeError(runtime::kSubscriptOutOfRange);
  size_ = static_cast<size_t>(size);
  checkPlatform(SafeArrayLock(array));
}

void ArrayLock::requireElements(VARTYPE type, size_t size) const {
  if (!array_) return;
  const VARTYPE own = elementTypeOf(*array_);
  const bool isLong = type == VT_I4 && (own == VT_INT || own == VT_EMPTY);
  if (array_->cbElements != size || (own != type && !isLong)) {
    throw makeError(runtime::kTypeMismatch);
  }
}

void ArrayLock::requireOneDimension() const {
  if (!array_ || array_->cDims != 1) throw makeError(runtime::kSubscriptOutOfRange);
}

}  // namespace zsupport
