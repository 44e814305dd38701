#include "automation/safe_array.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <vector>

namespace zsupport {
namespace {

// How many elements an array of these bounds holds; error 7 when their size in bytes wraps round,
// which the platform does not notice.
size_t elementsIn(std::span<const SAFEARRAYBOUND> bounds, size_t elementSize) {
  uint64_t count = bounds.empty() ? 0 : 1;
  const size_t most = SIZE_MAX / std::max<size_t>(elementSize, 1);
  for (const SAFEARRAYBOUND& bound : bounds) {
    count *= bound.cElements;
    if (count > most) throw makeError(runtime::kOutOfMemory);
  }
  return static_cast<size_t>(count);
}

}  // namespace

SafeArray SafeArray::attach(SAFEARRAY* owned) {
  if (!owned) throw std::bad_alloc();
  SafeArray result;
  result.array_ = owned;
  return result;
}

SafeArray SafeArray::make(VARTYPE element, std::span<const SAFEARRAYBOUND> bounds) {
  elementsIn(bounds, sizeof(VARIANT));  // the largest element that there is
  std::vector<SAFEARRAYBOUND> declared(bounds.rbegin(), bounds.rend());
  return attach(SafeArrayCreate(element, static_cast<UINT>(declared.size()), declared.data()));
}

SafeArray SafeArray::vector(VARTYPE element, ULONG count) {
  const SAFEARRAYBOUND bound = {count, 0};
  return make(element, {&bound, 1});
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

void resize(SAFEARRAY& array, SAFEARRAYBOUND bound) {
  std::vector<SAFEARRAYBOUND> bounds(array.rgsabound, array.rgsabound + array.cDims);
  if (!bounds.empty()) bounds[0] = bound;
  elementsIn(bounds, array.cbElements);
  checkPlatform(SafeArrayRedim(&array, &bound));
}

ArrayLock::ArrayLock(SAFEARRAY* array) : array_(array) {
  if (!array) return;
  const size_t size = elementsIn({array->rgsabound, array->cDims}, array->cbElements);
  if (size > 0 && !array->pvData) throw makeError(runtime::kSubscriptOutOfRange);
  size_ = size;
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
